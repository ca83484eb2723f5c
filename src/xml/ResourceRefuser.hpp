// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <xercesc/dom/DOMLSResourceResolver.hpp>

#include <string>

namespace opc::model {

/// Keeps a parser from opening anything: it resolves every requested resource to an empty one and remembers the
/// first one. The only exception are the schema locations of the caller.
class ResourceRefuser final : public xercesc::DOMLSResourceResolver {
public:
    /// @param schemaLocation the caller's own locations, separated by white space; outlives the refuser.
    explicit ResourceRefuser(const std::u16string& schemaLocation) : schemaLocation_(schemaLocation) {}

    xercesc::DOMLSInput* resolveResource(const XMLCh* resourceType, const XMLCh* namespaceUri, const XMLCh* publicId,
                                         const XMLCh* systemId, const XMLCh* baseURI) override;

    /// @throws InvalidXMLDocument naming what was refused.
    void throwIfRefused() const;

private:
    bool isOfCaller(const std::u16string& systemId) const;

    const std::u16string& schemaLocation_;
    bool refused_ = false;
    std::u16string refusedId_;
};

} // namespace opc::model
