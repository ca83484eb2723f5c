// SPDX-License-Identifier: Apache-2.0
#include <opc/xml/XercesErrorHandler.hpp>

#include "xml/XercesErrors.hpp"

#include <xercesc/dom/DOMError.hpp>
#include <xercesc/util/XMLString.hpp>

namespace opc::model {

XercesErrorHandler::~XercesErrorHandler() {
    xercesc::XMLString::release(&message_);
}

bool XercesErrorHandler::handleError(const xercesc::DOMError& error) {
    if (error.getSeverity() == xercesc::DOMError::DOM_SEVERITY_WARNING)
        return true;
    XMLCh* message = xercesc::XMLString::replicate(error.getMessage());
    xercesc::XMLString::release(&message_);
    message_ = message;
    return false;
}

void XercesErrorHandler::throwIfError() const {
    if (message_ != nullptr)
        throw InvalidXMLDocument(toMessage(message_));
}

} // namespace opc::model
