// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>

#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMLSParser.hpp>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/util/RefVectorOf.hpp>

#include <memory>

namespace opc::model {

/// Sets the name and the Id of an element in a place; nothing for another node, or null.
void describe(const xercesc::DOMNode* node, ErrorPlace& place);

/// Sets the text of an element without child elements as the value of a place; nothing for another node.
void describeText(const xercesc::DOMNode& node, ErrorPlace& place);

/// The name and the Id of an element that a validating parser delivers, and the first of its attributes that its schema
/// does not declare or whose value its type does not allow.
void describe(const xercesc::XMLElementDecl& declaration, const XMLCh* prefix,
              const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount, ErrorPlace& place);

/// The place of an element in the last document of a parser of `XercesHelper`.
/// @param attribute the one that is wrong, by its name without a namespace; null when no single one is.
std::shared_ptr<const ErrorPlace> placeOf(const xercesc::DOMLSParser& parser, const xercesc::DOMElement& element,
                                          const XMLCh* attribute = nullptr);

/// Runs a check of an element of the last document of a parser; an error without a place gets that of the element.
/// @param attribute as for `placeOf`, when the check throws.
template <class Check>
void checkAt(const xercesc::DOMLSParser& parser, const xercesc::DOMElement& element, const XMLCh* const& attribute,
             Check check) {
    try {
        check();
    } catch (Exception& e) {
        if (!e.getPlace())
            e.setPlace(placeOf(parser, element, attribute));
        throw;
    }
}

} // namespace opc::model
