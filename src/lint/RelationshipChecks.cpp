// SPDX-License-Identifier: Apache-2.0
#include <opc/core/PartNames.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>

#include "lint/Checks.hpp"

namespace opc::lint {

namespace {

std::string targetText(const Link& link) {
    return "Target " + inQuotes(link.relationship.getTarget());
}

bool isContentTypesName(std::u16string_view path) {
    return isSame(path, u"/%5BContent_Types%5D.xml") || isSame(path, u"/[Content_Types].xml");
}

/// "#Sheet2!A1" is a place in the source, not the source as a part.
bool isPlaceInSource(const Link& link) {
    return link.relationship.getTarget().substr(0, 1) == u"#";
}

void checkMissing(Examination& examination, const Link& link) {
    if (!hasOwnTargetRule(link))
        examination.reportLink(RuleId::DanglingTarget, link,
                               targetText(link) + " leads to no part: " + inQuotes(link.path));
}

bool isTypeOfRelationships(const std::u16string& mediaType) {
    static const std::u16string sought = mediaTypeOf(model::PackageHelper::getRelationshipContentType());
    return mediaType == sought;
}

/// A part of the package is not a relationships part.
void checkType(Examination& examination, const model::Part& part) {
    if (isTypeOfRelationships(examination.getMediaType(part)))
        examination.reportItem(RuleId::RelationshipsContentType, part.getName().toString(),
                               "content type of relationships, but not the name of a relationships part");
}

/// "/_rels/_rels/a.rels.rels" beside "/_rels/a.rels".
/// @param name of a relationships part.
bool isOfRelationships(const std::u16string& name) {
    constexpr std::u16string_view folder = u"/_rels/", extension = u".rels";
    const std::size_t slash = name.rfind(u'/');
    if (slash + 1 < folder.size())
        return false;
    const std::u16string source = name.substr(0, slash + 1 - folder.size()) + name.substr(slash);
    return detail::isRelationshipsPartName(source.substr(0, source.size() - extension.size()));
}

void checkStoredType(Examination& examination, const model::RelationshipSource& source) {
    const std::u16string name = source.getRelationshipsPartName().toString();
    if (examination.getFindings().has(RuleId::RelationshipsTypeMissing, toText(name)))
        return;
    try {
        const model::ContentType type = source.getRelationshipsContentType();
        if (!isTypeOfRelationships(mediaTypeOf(type)))
            examination.reportItem(RuleId::RelationshipsContentType, name,
                                   "relationships part with the content type " + inQuotes(type.toString()));
    } catch (const model::ContentTypeNotFound&) { // the content types cannot be read, which has been told
    }
}

} // namespace

void checkTarget(Examination& examination, const Link& link) {
    if (link.isExternal())
        return;
    if (link.path.empty())
        examination.reportLink(RuleId::InternalTarget, link,
                               targetText(link) + " of an internal relationship leads out of the package");
    else if (isContentTypesName(link.path))
        examination.reportLink(RuleId::ContentTypesNoPart, link,
                               targetText(link) + " leads to the content types stream, which is not a part");
    else if (detail::isRelationshipsPartName(link.path))
        examination.reportLink(RuleId::TargetIsRelationships, link,
                               targetText(link) + " leads to a relationships part");
    else if (isSame(link.path, link.source.getSourceURI().toString())) {
        if (!isPlaceInSource(link))
            examination.reportLink(RuleId::SelfTarget, link, targetText(link) + " leads to its own source");
    } else if (link.target == nullptr)
        checkMissing(examination, link);
    else if (const std::u16string name = link.target->getName().toString(); name != link.path)
        examination.reportLink(RuleId::TargetCase, link,
                               targetText(link) + " differs in case from the part " + inQuotes(name));
}

void checkRelationshipsParts(Examination& examination) {
    const model::Package& package = examination.getPackage();
    if (!examination.hasItem(package.getRelationshipsPartName().toString()) && !examination.getParts().empty())
        examination.reportItem(RuleId::NoPackageRelationships, u"", "no package relationships: no item _rels/.rels");
    for (const std::u16string& name : examination.getNames()) {
        if (!detail::isRelationshipsPartName(name))
            continue;
        if (isOfRelationships(name))
            examination.reportItem(RuleId::NoRelationshipsOfRelationships, name,
                                   "relationships of a relationships part");
        if (const auto* source = examination.findSource(detail::getSourcePartName(name)))
            checkStoredType(examination, *source);
    }
    for (const model::Part& part : examination.getParts())
        checkType(examination, part);
}

} // namespace opc::lint
