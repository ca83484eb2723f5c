// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace opc::model {

/// How an empty element is written.
enum class EmptyElements {
    AsTwoTags, ///< as in canonical XML
    AsOneTag,
};

/// Writes XML as UTF-8 text, tag by tag: signatures need exact bytes, which a serializer does not guarantee. Names are
/// not escaped; texts and values are, as in canonical XML. Characters that XML does not allow are refused.
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

    /// An element that contains only text.
    void element(const char* name, std::u16string_view content);
    /// An element written by another writer.
    void raw(const XmlText& element);

    /// The complete text, after every element was ended.
    /// @throws InvalidXMLDocument when it exceeds a limit of reading.
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
