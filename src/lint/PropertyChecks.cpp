// SPDX-License-Identifier: Apache-2.0
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/signatures/SignatureForm.hpp>

#include "lint/Checks.hpp"
#include "lint/MarkupCompatibility.hpp"

namespace opc::lint {

namespace {

using model::PackageHelper;

bool isCorePropertiesType(const std::u16string& type) {
    return type == PackageHelper::getCorePropertiesRelationshipType();
}

bool isThumbnailType(const std::u16string& type) {
    static const std::u16string sought = PackageHelper::getThumbnailRelationshipType();
    return type == sought;
}

/// Why a relationship does not lead to a part; empty when it does.
std::string problemOfTarget(const Link& link) {
    const std::string target = "Target " + inQuotes(link.relationship.getTarget());
    if (link.isExternal())
        return target + " is external";
    return link.target == nullptr ? target + " leads to no part" : std::string();
}

/// Programs look for a part with the whole target as its name.
bool leadsIntoPart(const Link& link) {
    const model::URI target = link.relationship.getTargetURI();
    return target.hasQuery() || target.hasFragment();
}

/// The part is read by the rules for core properties, which tell what they find.
void examineProperties(Examination& examination, const Link& link) {
    const std::u16string name = link.target->getName().toString();
    examination.readItem(name, [&] {
        PackageHelper::getCoreProperties(examination.getPackage(), link.type, examination.getFindings());
        checkCompatibility(examination, RuleId::PropertiesCompatibility, toText(name),
                           readAll(*link.target->getInputStream()));
    });
}

/// @param isFirst the part is read for the first relationship of a type alone.
void checkLink(Examination& examination, const Link& link, bool isFirst) {
    const bool isOfStandard = isCorePropertiesType(link.type);
    if (!isOfStandard)
        examination.reportLink(RuleId::CorePropertiesTypeName, link,
                               "Type " + inQuotes(link.type) + " is not that of the standard", true);
    const std::string problem = problemOfTarget(link);
    if (!problem.empty()) {
        if (isOfStandard)
            examination.reportLink(RuleId::OneCoreProperties, link, problem);
        return;
    }
    const model::ContentType type = link.target->getContentType();
    if (mediaTypeOf(type) != mediaTypeOf(PackageHelper::getCorePropertiesContentType()))
        examination.reportLink(RuleId::OneCoreProperties, link,
                               "Target " + inQuotes(link.relationship.getTarget()) +
                                   " leads to a part with the content type " + inQuotes(type.toString()));
    else if (leadsIntoPart(link))
        examination.reportLink(RuleId::OneCoreProperties, link,
                               "Target " + inQuotes(link.relationship.getTarget()) + " has a query or a fragment");
    else if (isFirst && examination.getOptions().readsContents)
        examineProperties(examination, link);
}

} // namespace

bool hasOwnTargetRule(const Link& link) {
    const auto& form = model::getSignatureIdentifiers(model::SignatureForm::Standard);
    return isThumbnailType(link.type) ||
           (link.isOfPackage() && (isCorePropertiesType(link.type) || link.type == form.originRelationshipType));
}

void checkCoreProperties(Examination& examination) {
    const model::Package& package = examination.getPackage();
    for (const std::u16string& type : PackageHelper::getCorePropertiesRelationshipTypes()) {
        const auto relationships = package.getRelationshipsByType(type);
        for (const model::Relationship& each : relationships)
            checkLink(examination, examination.resolve(package, each), &each == &relationships.front());
    }
}

void checkThumbnail(Examination& examination, const Link& link) {
    if (!isThumbnailType(link.type))
        return;
    const std::string problem = problemOfTarget(link);
    if (!problem.empty()) {
        examination.reportLink(RuleId::ThumbnailTarget, link, problem);
        return;
    }
    const model::ContentType type = link.target->getContentType();
    if (mediaTypeOf(type).substr(0, 6) != u"image/")
        examination.reportItem(RuleId::ThumbnailImage, link.target->getName().toString(),
                               "thumbnail with the content type " + inQuotes(type.toString()));
}

} // namespace opc::lint
