// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace opc::test {

/// A core properties document of these elements, with attributes of the root.
inline std::string coreProperties(const std::string& elements, const std::string& attributes = {}) {
    return "<cp:coreProperties xmlns:cp='http://schemas.openxmlformats.org/package/2006/metadata/core-properties' "
           "xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:dcterms='http://purl.org/dc/terms/' "
           "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' " +
           attributes + ">" + elements + "</cp:coreProperties>";
}

} // namespace opc::test
