// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/EmbeddedSchemas.hpp"

#include <xercesc/dom/DOMLSParser.hpp>

namespace opc::model {

/// Puts a schema into the grammar cache of the parser and has later reads use it. Schemas that it imports are in the
/// cache before it; one whose namespace is in the cache already is not looked at.
/// @throws InvalidXMLSchema "Schema could not be loaded: " and the reason.
void loadEmbeddedSchema(xercesc::DOMLSParser& parser, const EmbeddedSchema& schema);

} // namespace opc::model
