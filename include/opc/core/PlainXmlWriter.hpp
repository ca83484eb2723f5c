// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Limits.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// XML that is written as text, without a tree. What has no plain form is left to a writer that builds a tree and says
/// what is wrong with it; both give the same bytes for what they share.
namespace opc::detail {

enum class XmlLayout {
    Indented, ///< each element begins on a line of its own, and ends on one when it has elements in it
    Compact,  ///< no white space between elements
};

/// Takes a document in its order. Names are names of XML with their prefixes, and namespaces are declared by
/// attributes.
class OPCRAFT_API XmlWriter {
public:
    virtual ~XmlWriter();

    virtual void start(std::string_view name) = 0;

    /// Of the element that was started last, before anything in it; the attributes of an element come in the order of
    /// their names.
    virtual void attribute(std::string_view name, std::u16string_view value) = 0;

    /// Of the element that was started last, once and before its elements; with an empty one it has two tags.
    virtual void text(std::u16string_view text) = 0;

    virtual void end() = 0;
};

/// Writes UTF-8 with an XML declaration.
class OPCRAFT_API PlainXmlWriter final : public XmlWriter {
public:
    /// @param limits those for XML apply.
    PlainXmlWriter(XmlLayout layout, bool isStandalone, const Limits& limits);

    void start(std::string_view name) override;
    void attribute(std::string_view name, std::u16string_view value) override;
    void text(std::u16string_view text) override;
    void end() override;

    /// The document, once, after all of its elements have ended.
    /// @return none when it could not be read again, for a character that XML 1.0 §2.2 excludes or for its size, or
    ///         when it is indented and an element holds white space alone.
    std::optional<std::vector<unsigned char>> take();

private:
    struct Element {
        std::string name;
        bool hasElements;
    };

    void closeStartTag();
    void breakLine();
    void append(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }
    void appendEscaped(std::u16string_view text, bool isValue);

    XmlLayout layout_;
    Limits limits_;
    std::vector<unsigned char> bytes_;
    std::vector<Element> open_;
    std::uint64_t nodes_ = 0;
    bool isStartTagOpen_ = false;
    bool isPlain_ = true;
};

} // namespace opc::detail
