// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace opc::model {

/// How an element without content is written.
enum class EmptyElements {
    AsTwoTags, ///< as canonical XML has it
    AsOneTag,
};

/// Writes XML as UTF-8 text, tag by tag: what is signed is bytes, so nothing is left to a serializer. Names are taken
/// as they are; texts and values are escaped as in canonical XML, and what XML cannot carry is refused.
class XmlText {
public:
    using Attribute = std::pair<std::string_view, std::u16string_view>;

    explicit XmlText(EmptyElements emptyElements) : emptyElements_(emptyElements) {}

    /// Attributes are written in the order given.
    /// @throws InvalidXMLDocument for a character that XML 1.0 excludes.
    void start(const char* name, std::initializer_list<Attribute> attributes);
    /// @throws InvalidXMLDocument for a character that XML 1.0 excludes.
    void text(std::u16string_view text);
    void end();

    /// An element that holds a text alone.
    void element(const char* name, std::u16string_view content);
    /// An element that another writer has written.
    void raw(const XmlText& element);

    /// All that was written, once every element has ended.
    /// @throws InvalidXMLDocument when it breaks a bound for what is read.
    const std::string& get() const;

private:
    void closeStartTag();

    EmptyElements emptyElements_;
    std::string out_;
    std::vector<std::string> open_;
    bool isStartTagOpen_ = false;
    std::uint64_t nodes_ = 0;
};

} // namespace opc::model
