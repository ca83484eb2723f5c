// SPDX-License-Identifier: Apache-2.0
#include "xml/ResourceRefuser.hpp"

#include "xml/XercesErrors.hpp"

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>

#include <algorithm>

namespace opc::model {

xercesc::DOMLSInput* ResourceRefuser::resolveResource(const XMLCh*, const XMLCh*, const XMLCh*, const XMLCh* systemId,
                                                      const XMLCh*) {
    // An import with a namespace alone has no system id, and nothing is opened for it.
    if (systemId == nullptr || isOfCaller(systemId))
        return nullptr;
    if (!refused_) {
        refused_ = true;
        refusedId_ = systemId;
    }
    static const XMLByte nothing = 0;
    return new xercesc::Wrapper4InputSource(new xercesc::MemBufInputSource(&nothing, 0, systemId));
}

void ResourceRefuser::throwIfRefused() const {
    if (refused_)
        throw InvalidXMLDocument("XML content can not refer to another resource: " + toMessage(refusedId_.c_str()));
}

bool ResourceRefuser::isOfCaller(const std::u16string& systemId) const {
    constexpr const char16_t* SPACE = u" \t\r\n";
    std::size_t end = 0;
    for (auto start = schemaLocation_.find_first_not_of(SPACE); start != std::u16string::npos;
         start = schemaLocation_.find_first_not_of(SPACE, end)) {
        end = std::min(schemaLocation_.find_first_of(SPACE, start), schemaLocation_.size());
        if (schemaLocation_.compare(start, end - start, systemId) == 0)
            return true;
    }
    return false;
}

} // namespace opc::model
