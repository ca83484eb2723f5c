// SPDX-License-Identifier: Apache-2.0
#include "xml/ParserSettings.hpp"

#include <xercesc/util/XMLUni.hpp>

namespace opc::model {

using xercesc::XMLUni;

ParserSettings::ParserSettings(xercesc::DOMLSParser& parser, xercesc::DOMErrorHandler& errors, ResourceRefuser& refuser)
    : configuration_(*parser.getDomConfig()) {
    // The schema locations in a document (xsi:schemaLocation) would open files and connections.
    setIfSettable(XMLUni::fgXercesLoadSchema, false);
    setIfSettable(XMLUni::fgXercesUseCachedGrammarInParse, true);
    configuration_.setParameter(XMLUni::fgDOMErrorHandler, &errors);
    configuration_.setParameter(XMLUni::fgDOMResourceResolver, static_cast<xercesc::DOMLSResourceResolver*>(&refuser));
}

ParserSettings::~ParserSettings() {
    if (locationParameter_ != nullptr)
        setPointer(locationParameter_, nullptr);
    configuration_.setParameter(XMLUni::fgDOMResourceResolver, static_cast<const void*>(nullptr));
    configuration_.setParameter(XMLUni::fgDOMErrorHandler, static_cast<const void*>(nullptr));
}

void ParserSettings::setIfSettable(const XMLCh* parameter, bool value) {
    if (configuration_.canSetParameter(parameter, value))
        configuration_.setParameter(parameter, value);
}

void ParserSettings::setLocation(const XMLCh* parameter, const std::u16string& location) {
    setPointer(parameter, location.c_str());
    locationParameter_ = parameter;
}

void ParserSettings::setPointer(const XMLCh* parameter, const void* value) {
    if (configuration_.canSetParameter(parameter, value))
        configuration_.setParameter(parameter, value);
}

} // namespace opc::model
