// SPDX-License-Identifier: Apache-2.0
#include <opc/xml/XercesGuard.hpp>

#include "xml/AnyURI.hpp"
#include "xml/XercesErrors.hpp"

#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/validators/datatype/DatatypeValidator.hpp>
#include <xercesc/validators/datatype/DatatypeValidatorFactory.hpp>
#include <xercesc/validators/schema/SchemaSymbols.hpp>

namespace opc::model {

bool isAnyURI(const std::u16string& text) {
    const XercesGuard guard;
    try {
        translatingXercesErrors([&] {
            xercesc::DatatypeValidatorFactory factory;
            factory.getDatatypeValidator(xercesc::SchemaSymbols::fgDT_ANYURI)
                ->validate(text.c_str(), nullptr, xercesc::XMLPlatformUtils::fgMemoryManager);
        });
        return true;
    } catch (const InvalidXMLDocument&) {
        return false;
    }
}

} // namespace opc::model
