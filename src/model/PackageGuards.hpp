// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/PartName.hpp>

#include <string>

namespace opc::model {

inline std::string withName(const char* message, const PartName& name) {
    return message + toASCIIString(name.toString());
}

inline void throwIfPackageRoot(const PartName& name) {
    if (PartName::isPackageRootUri(name.getURI()))
        throw InvalidPartName("The package root is not the name of a part");
}

/// A name that was constructed unchecked may break any rule.
inline void throwIfNotReadable(const PartName& name) {
    const PartName checked(name.getURI());
}

/// A media type accepts values whose printed form does not parse, or parses to another value; the part could not be
/// opened again, or would have another type.
inline void throwIfNotReadable(const ContentType& contentType) {
    const std::u16string text = contentType.toString();
    const bool hasParameters = text.find(u';') != std::u16string::npos; // type and subtype are always read back
    if (hasParameters && ContentType(text).toString() != text)
        throw InvalidContentType("Could not successfully parse content type string");
}

} // namespace opc::model
