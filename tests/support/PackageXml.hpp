// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// The XML of a package, of these elements.
namespace opc::test {

inline std::string contentTypes(const std::string& elements) {
    return "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">" + elements + "</Types>";
}

inline std::string relationshipsXml(const std::string& elements) {
    return "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">" + elements +
           "</Relationships>";
}

/// With attributes of the root.
inline std::string coreProperties(const std::string& elements, const std::string& attributes = {}) {
    return "<cp:coreProperties xmlns:cp='http://schemas.openxmlformats.org/package/2006/metadata/core-properties' "
           "xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:dcterms='http://purl.org/dc/terms/' "
           "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' " +
           attributes + ">" + elements + "</cp:coreProperties>";
}

} // namespace opc::test
