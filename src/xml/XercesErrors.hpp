// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLException.hpp>

#include <new>
#include <string>

namespace opc::model {

/// A message of Xerces as UTF-8. Unlike a conversion to the locale's encoding it preserves every name that a message
/// quotes.
inline std::string toMessage(const XMLCh* message) {
    return message == nullptr ? std::string() : detail::toUTF8String(message, false);
}

/// Runs the action; exceptions of Xerces are translated to `InvalidXMLDocument` with their message, a lack of memory to
/// `std::bad_alloc`, and anything else unchanged.
template <class Action>
auto translatingXercesErrors(Action action) -> decltype(action()) {
    try {
        return action();
    } catch (const xercesc::DOMException& e) {
        throw InvalidXMLDocument(toMessage(e.getMessage()));
    } catch (const xercesc::SAXException& e) {
        throw InvalidXMLDocument(toMessage(e.getMessage()));
    } catch (const xercesc::XMLException& e) {
        throw InvalidXMLDocument(toMessage(e.getMessage()));
    } catch (const xercesc::OutOfMemoryException&) {
        throw std::bad_alloc();
    }
}

} // namespace opc::model
