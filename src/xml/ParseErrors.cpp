// SPDX-License-Identifier: Apache-2.0
#include "xml/ParseErrors.hpp"

#include "errors/ErrorPlaces.hpp"
#include "xml/XercesErrors.hpp"

#include <xercesc/dom/DOMError.hpp>
#include <xercesc/dom/DOMLocator.hpp>

#include <new>

namespace opc::model {

void ParseErrors::clear() {
    count_ = 0;
    isKept_ = false;
    message_.clear();
    place_ = ErrorPlace();
}

bool ParseErrors::handleError(const xercesc::DOMError& error) {
    if (error.getSeverity() == xercesc::DOMError::DOM_SEVERITY_WARNING)
        return true;
    if (++count_ == 1) {
        try { // the parser drops what is thrown here
            keep(error);
            isKept_ = true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    return count_ < MOST_ERRORS;
}

void ParseErrors::keep(const xercesc::DOMError& error) {
    message_ = toMessage(error.getMessage());
    if (const xercesc::DOMLocator* location = error.getLocation()) {
        place_.line = location->getLineNumber();
        place_.column = location->getColumnNumber();
    }
}

void ParseErrors::throwIfError() const {
    if (isEmpty())
        return;
    if (!isKept_)
        throw std::bad_alloc();
    throwAt<InvalidXMLDocument>(std::make_shared<const ErrorPlace>(place_), message_);
}

} // namespace opc::model
