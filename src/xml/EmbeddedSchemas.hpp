// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace opc::model {

/// A published schema as UTF-8 text; the constants live as long as the process.
struct EmbeddedSchema {
    const char* systemId;
    const char* text;
    std::size_t length; ///< bytes, without the terminator
};

namespace embedded {
extern const EmbeddedSchema xml;
extern const EmbeddedSchema dc;
extern const EmbeddedSchema dcmitype;
extern const EmbeddedSchema dcterms;
extern const EmbeddedSchema opc_coreProperties;
extern const EmbeddedSchema opc_contentTypes;
extern const EmbeddedSchema opc_relationships;
extern const EmbeddedSchema opc_dsig;
extern const EmbeddedSchema xmldsig;
} // namespace embedded

} // namespace opc::model
