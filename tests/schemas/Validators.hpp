// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/EmbeddedSchemas.hpp"

#include <string>
#include <vector>

namespace opc::model::test {

/// The schemas of one kind of document, in the order in which they are loaded.
using Schemas = std::vector<const EmbeddedSchema*>;

const Schemas& contentTypesSchemas();
const Schemas& relationshipsSchemas();
const Schemas& corePropertiesSchemas();
const Schemas& signatureSchemas();

/// A document and what a validator that follows its standards says of it.
struct Document {
    bool valid;
    std::string text; ///< without the namespaces, which `declared` adds
    std::string why;
    const char* xmllintErrs = nullptr; ///< what keeps xmllint from the right verdict, where something does
};

/// An element with its content and attributes.
std::string tag(const std::string& name, const std::string& content = "", const std::string& attributes = "");

/// The text with all namespaces of the four kinds declared on its root element: xs, xsi, cp, dc, dcterms, and for
/// content types, relationships, XML-DSig and package signatures ct, rel, ds and pds. xml needs none.
std::string declared(const std::string& text);

/// Checks every verdict of the library and, in one run for all documents, of xmllint.
void expectVerdicts(const Schemas& schemas, const std::vector<Document>& documents);

/// What xmllint says against the schema when it compiles it, with the others at its side and without a network.
std::string complaintOfXmllint(const Schemas& schemas, const EmbeddedSchema& schema);

} // namespace opc::model::test
