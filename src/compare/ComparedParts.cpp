// SPDX-License-Identifier: Apache-2.0
#include "compare/ComparedParts.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/signatures/SignatureForm.hpp>

#include "compare/StoredItems.hpp"
#include "model/ItemBytes.hpp"

#include <algorithm>

namespace opc::compare {

namespace {

using model::SignatureForm;
using model::SignatureIdentifiers;

constexpr auto DIGEST = model::DigestMethod::SHA256;

template <class Rule>
bool isOfSomeForm(Rule rule) {
    return rule(model::getSignatureIdentifiers(SignatureForm::Standard)) ||
           rule(model::getSignatureIdentifiers(SignatureForm::Library));
}

std::string keyOfPart(const model::Part& part) {
    return toText(toLowerASCIIString(part.getName().toString()));
}

} // namespace

std::string toText(std::u16string_view text) {
    return opc::detail::toUTF8String(text, false);
}

std::string toHex(const std::vector<unsigned char>& bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : bytes)
        text.append(1, digits[byte >> 4U]).append(1, digits[byte & 15U]);
    return text;
}

bool isOfSignatures(const model::Relationship& relationship) {
    const std::u16string type = relationship.getType();
    return isOfSomeForm([&](const SignatureIdentifiers& form) {
        return type == form.originRelationshipType || type == form.signatureRelationshipType ||
               type == form.certificateRelationshipType;
    });
}

bool isOfSignatures(const model::ContentType& type) {
    return isOfSomeForm([&](const SignatureIdentifiers& form) {
        return type == form.originContentType || type == form.signatureContentType ||
               type == form.certificateContentType;
    });
}

bool isOfCoreProperties(const model::Relationship& relationship) {
    const auto types = model::PackageHelper::getCorePropertiesRelationshipTypes();
    return model::PartName::isPackageRootUri(relationship.getSourceURI()) &&
           std::find(types.begin(), types.end(), relationship.getType()) != types.end();
}

std::string targetKeyOf(const model::Relationship& relationship) {
    if (relationship.getTargetMode() == model::TargetMode::External)
        return {};
    try {
        const model::URI target = relationship.getTargetURI();
        return target.hasScheme() || target.hasAuthority() ? std::string()
                                                           : toText(toLowerASCIIString(target.getPath()));
    } catch (const Exception&) {
        return {};
    }
}

ComparedParts::ComparedParts(const ComparedPackage& compared, const CompareOptions& options)
    : compared_(compared), digester_(*compared.package), sizes_(sizesOf(compared)) {
    for (const model::Relationship& each : getPackage().getRelationships())
        if (corePropertiesKey_.empty() && isOfCoreProperties(each))
            corePropertiesKey_ = targetKeyOf(each);
    for (const model::Part& part : getPackage().getParts()) {
        std::string key = keyOfPart(part);
        if ((options.ignoresCoreProperties && key == corePropertiesKey_) ||
            (options.ignoresSignatures && isOfSignatures(part.getContentType())))
            continue;
        parts_.emplace(std::move(key), part);
    }
}

const model::Part* ComparedParts::find(const std::string& key) const {
    const auto found = parts_.find(key);
    return found == parts_.end() ? nullptr : &found->second;
}

void ComparedParts::digestAhead() {
    if (!digester_.isParallel())
        return;
    std::vector<model::PartDigester::Wanted> wanted;
    for (const auto& [key, part] : parts_)
        wanted.push_back({part, DIGEST});
    digester_.digestAhead(wanted, SignatureForm::Standard);
}

const std::vector<unsigned char>& ComparedParts::digestOf(const model::Part& part) {
    return digester_.digestPart(part, DIGEST, SignatureForm::Standard);
}

PartState ComparedParts::stateOf(const model::Part& part) {
    PartState state;
    state.name = toText(part.getName().toString());
    state.contentType = toText(part.getContentType().toString());
    state.sha256 = toHex(digestOf(part));
    if (const auto known = sizes_.find(keyOfPart(part)); known != sizes_.end())
        state.size = known->second;
    else
        model::readItem(*part.getInputStream(), [&](const unsigned char* /*data*/, std::size_t size) {
            state.size += size;
            return true;
        });
    return state;
}

} // namespace opc::compare
