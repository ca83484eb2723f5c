// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/XmlPieces.hpp>

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace opc::lint {

/// White space in XML.
inline constexpr std::string_view BLANKS = " \t\r\n";

/// An XML document of which some children of the root are changed. All else keeps its bytes.
class RepairDocument {
public:
    RepairDocument(std::vector<unsigned char> bytes, const Limits& limits);

    const detail::XmlPieces& getPieces() const noexcept { return pieces_; }
    const std::vector<unsigned char>& getOriginal() const noexcept { return original_; }

    /// Whether it could be taken to pieces and has this root.
    bool hasRoot(std::string_view namespaceURI, std::string_view localName) const;
    /// Whether an element has the namespace of the root and this name.
    bool isChild(const detail::XmlTag& tag, std::string_view localName) const;

    /// What is between the tags of a child, as it is written.
    std::string contentOf(const detail::XmlChild& child) const;

    /// Gives an attribute of a child another value, or the child the attribute.
    void setAttribute(const detail::XmlChild& child, std::string_view name, std::string_view value);
    void removeAttribute(const detail::XmlChild& child, std::string_view name);
    void remove(const detail::XmlChild& child);

    /// Appends an empty element with the prefix of the root, where there is a place for it.
    bool canAppend() const noexcept { return end_ != std::string::npos; }
    void append(std::string_view localName, const std::vector<std::pair<std::string, std::string>>& attributes);

    bool isChanged() const noexcept { return !edits_.empty() || !appended_.empty(); }
    std::vector<unsigned char> toBytes() const;

private:
    struct Edit {
        std::size_t size; ///< of what is replaced
        std::string text;
    };

    void replace(std::size_t offset, std::size_t size, std::string text);
    std::string toText() const;

    std::vector<unsigned char> original_;
    detail::XmlPieces pieces_;
    std::map<std::size_t, Edit> edits_; ///< by offset in the text
    std::string appended_;
    std::size_t end_; ///< where what is appended goes; npos: nowhere
    bool isRootOneTag_ = false;
};

/// A text in an attribute value in double or single quotation marks.
std::string escapedValue(std::string_view text);

} // namespace opc::lint
