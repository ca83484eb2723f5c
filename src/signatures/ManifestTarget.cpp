// SPDX-License-Identifier: Apache-2.0
#include "signatures/ManifestTarget.hpp"
#include "signatures/SignatureForm.hpp"

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

namespace opc::model {

namespace {

constexpr std::u16string_view contentTypeKey = std::u16string_view(contentTypeQuery).substr(1);

} // namespace

ManifestTarget ManifestTarget::of(const URI& uri) {
    if (uri.isAbsolute() || uri.hasAuthority() || uri.getPath().empty())
        throw InvalidSignature("URI referenced to in the manifest reference should not be an external reference or a "
                               "same-document reference.");
    ManifestTarget target{PartName(URI(uri.getPath()))};
    const std::u16string query = uri.getQuery();
    if (query.compare(0, contentTypeKey.size(), contentTypeKey) == 0)
        target.contentType = query.substr(contentTypeKey.size());
    return target;
}

URI makeManifestURI(const std::u16string& partName, const std::u16string& contentType) {
    const std::u16string text = partName + contentTypeQuery + contentType;
    try {
        const URI uri(text);
        if (!uri.hasFragment() && uri.getQuery() == std::u16string(contentTypeKey) + contentType)
            return uri;
    } catch (const InvalidURI&) { // told below
    }
    throw CouldNotGenerateSignature("The content type of a part cannot stand in the URI of a reference to it: " +
                                    detail::toUTF8String(partName + u", " + contentType, false));
}

} // namespace opc::model
