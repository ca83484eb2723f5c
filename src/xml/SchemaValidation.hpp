// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/EmbeddedSchemas.hpp"

#include <xercesc/dom/DOMLSParser.hpp>

namespace opc::model {

/// Adds a schema to the grammar cache of the parser, for use by later reads. Schemas that it imports must be in the
/// cache before; one whose namespace is in the cache already is ignored.
/// @throws InvalidXMLSchema "Schema could not be loaded: " and the reason.
void loadEmbeddedSchema(xercesc::DOMLSParser& parser, const EmbeddedSchema& schema);

} // namespace opc::model
