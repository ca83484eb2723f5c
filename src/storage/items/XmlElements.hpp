// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/ItemReader.hpp"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace opc::storage {

/// The start of an element.
class XmlElement {
public:
    /// @param name the namespace, the local name and the prefix, where there is one, with a space between them.
    XmlElement(std::string_view name, const char** attributes);

    /// The namespace, a space, and the local name.
    std::string_view name() const { return name_; }

    /// Whether the element is written with a prefix.
    bool hasPrefix() const { return hasPrefix_; }

    /// The value of an attribute without a namespace; empty when there is none.
    /// @throws opc::Exception when it is not valid UTF-8.
    std::u16string attribute(std::string_view name) const;

private:
    std::string_view name_;
    bool hasPrefix_;
    const char** attributes_;
};

/// Reads XML of at most so many bytes and calls an action for the start of each element.
/// @return false when it is longer, is not well-formed or has a document type declaration.
/// @throws what the action throws.
bool forEachElement(ItemReader& stream, std::uint64_t maximumSize,
                    const std::function<void(const XmlElement&)>& action);

/// What keeps readers from parsing a stream alike.
enum class XmlFault {
    None,     ///< well-formed XML 1.0 in the encoding that it declares, without a document type declaration
    Version,  ///< another version of XML
    Encoding, ///< not the encoding that it declares, or one that few readers know
    Other,    ///< not well-formed, too long, or with a document type declaration
};

XmlFault findXmlFault(ItemReader& stream, std::uint64_t maximumSize);

} // namespace opc::storage
