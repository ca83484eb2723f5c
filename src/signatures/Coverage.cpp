// SPDX-License-Identifier: Apache-2.0
#include "signatures/Coverage.hpp"

#include "core/FoldedNames.hpp"
#include "model/ItemBytes.hpp"
#include "signatures/SignatureBounds.hpp"
#include "signatures/SignatureForm.hpp"

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <string_view>

namespace opc::model {

namespace {

using Key = Coverage::Key;
using Types = std::vector<std::u16string>;

/// The types of relationships of a package that are not content, by their kinds.
std::vector<Types> exceptedKinds() {
    return {PackageHelper::getCorePropertiesRelationshipTypes(),
            {u"http://schemas.openxmlformats.org/officeDocument/2006/relationships/extended-properties",
             u"http://purl.oclc.org/ooxml/officeDocument/relationships/extendedProperties"},
            {PackageHelper::getThumbnailRelationshipType()}};
}

constexpr char16_t extendedPropertiesContentType[] =
    u"application/vnd.openxmlformats-officedocument.extended-properties+xml";

bool hasExceptedType(const Part& part) {
    const ContentType type = part.getContentType();
    const ContentType plain(type.getType() + u"/" + type.getSubType());
    return caselessCompare(type.getType(), u"image") == 0 || plain == PackageHelper::getCorePropertiesContentType() ||
           plain == ContentType(extendedPropertiesContentType);
}

Key keyOf(const Relationship& relationship) {
    return {toLowerASCIIString(relationship.getSourceURI().toString()), relationship.getID()};
}

/// The part that an internal relationship leads to; none when there is no such part.
std::optional<Part> findTarget(const Package& package, const Relationship& relationship) {
    if (relationship.getTargetMode() == TargetMode::External)
        return std::nullopt;
    try {
        const URI target = relationship.getTargetURI();
        const PartName name(target.getPath());
        if (!target.hasScheme() && !target.hasAuthority() && package.hasPart(name))
            return package.getPart(name);
    } catch (const Exception&) { // no part has such a name
    }
    return std::nullopt;
}

std::string pathOf(const PartName& name) {
    return detail::foldName(toASCIIString(name.toString()));
}

/// Where a relationship leads; its target mode is not looked at. Some readers take query and fragment for a part of the
/// name, so there are two paths with them.
std::set<std::string> pathsOf(const Relationship& relationship) {
    std::u16string target = relationship.getTarget();
    if (target.empty() || (target.front() != u'/' && target.front() != u'\\')) {
        const std::u16string source = relationship.getSourceURI().getPath();
        target.insert(0, source, 0, source.rfind(u'/') + 1);
    }
    const std::string whole = detail::toUTF8String(target, false);
    return {detail::foldName(whole), detail::foldName(whole.substr(0, whole.find_first_of("?#")))};
}

bool isEmpty(const Part& part) {
    bool empty = true;
    try {
        readItem(*part.getInputStream(),
                 [&empty](const unsigned char*, std::size_t size) { return empty = size == 0; });
    } catch (const Exception&) { // who knows
        return false;
    }
    return empty;
}

/// @param path the folded name of the item.
bool isFolderOrTrash(const std::string& item, const std::string& path) {
    constexpr std::string_view trash = "[trash]/";
    const bool isFolder = !item.empty() && item.back() == '/';
    return isFolder || (item.starts_with(trash) && path.starts_with(trash));
}

/// What one signature covers, by name.
struct Covered {
    std::set<PartName> parts;
    std::set<Key> relationships;

    explicit Covered(const SignatureReport& report) {
        if (isManifestAuthentic(report))
            for (const ReferenceReport& reference : report.references)
                add(reference);
    }

private:
    /// Whether what the manifest says was said by the signer, whatever has become of the entries.
    static bool isManifestAuthentic(const SignatureReport& report) {
        return report.signatureValueHolds &&
               std::all_of(report.references.begin(), report.references.end(), [](const ReferenceReport& each) {
                   return each.kind != ReferenceKind::Object || each.holds();
               });
    }

    void add(const ReferenceReport& reference) {
        if (!reference.holds() || reference.kind == ReferenceKind::Object)
            return;
        if (reference.kind == ReferenceKind::Part)
            parts.insert(PartName(reference.target));
        for (const Relationship& relationship : reference.relationships)
            relationships.insert(keyOf(relationship));
    }
};

} // namespace

bool CoverageReport::isComplete() const noexcept {
    return uncoveredParts.empty() && uncoveredRelationships.empty() && otherItems.empty() &&
           !(coveredParts.empty() && coveredRelationships.empty());
}

Coverage::Coverage(const Package& package, const std::vector<DigitalSignature>& signatures,
                   const std::vector<std::string>& otherItems, CoverageScope scope)
    : package_(package) {
    collect();
    markStructure(signatures);
    if (scope == CoverageScope::Content)
        markExceptions();
    sortItems(otherItems);
}

void Coverage::collect() {
    const auto addLinks = [this](const RelationshipSource& source) {
        for (const Relationship& each : source.getRelationships())
            links_.push_back({each, keyOf(each), pathsOf(each)});
    };
    addLinks(package_);
    for (const Part& part : package_.getParts()) {
        parts_.try_emplace(part.getName());
        addLinks(part);
    }
}

/// The origin that counts, and what it leads to.
void Coverage::markStructure(const std::vector<DigitalSignature>& signatures) {
    for (const DigitalSignature& signature : signatures)
        signatures_.emplace_back(signature.getImpl()->partName);
    const SignatureForm& form = libraryForm();
    const auto origins = package_.getRelationshipsByType(form.originRelationshipType);
    if (origins.empty())
        return;
    for (Link& link : links_)
        if (link.key == keyOf(origins.front()))
            link.standing = Standing::Structure;
    if (const auto origin = findTarget(package_, origins.front())) {
        if (isEmpty(*origin))
            markPart(origin->getName(), form.originContentType);
        markLinks(origin->getSourceURI(), form.signatureRelationshipType);
    }
    for (const PartName& name : signatures_) {
        markPart(name, form.signatureContentType);
        if (package_.hasPart(name))
            markCertificates(package_.getPart(name));
    }
    demoteLinkedStructure();
}

void Coverage::markCertificates(const Part& signature) {
    const SignatureForm& form = libraryForm();
    for (const Relationship& relationship : signature.getRelationshipsByType(form.certificateRelationshipType))
        if (const auto certificate = findTarget(package_, relationship))
            markPart(certificate->getName(), form.certificateContentType);
    markLinks(signature.getSourceURI(), form.certificateRelationshipType);
}

void Coverage::markPart(const PartName& name, const char16_t* contentType) {
    const auto found = parts_.find(name);
    if (found != parts_.end() && package_.getPart(name).getContentType() == ContentType(contentType))
        found->second.standing = Standing::Structure;
}

void Coverage::markLinks(const URI& source, const char16_t* type) {
    for (Link& link : links_)
        if (link.relationship.getSourceURI() == source && link.relationship.getType() == type &&
            findTarget(package_, link.relationship))
            link.standing = Standing::Structure;
}

/// What another relationship leads to is content, whatever else it is.
void Coverage::demoteLinkedStructure() {
    std::set<std::string> paths;
    for (const Link& link : links_)
        if (link.standing != Standing::Structure)
            paths.insert(link.paths.begin(), link.paths.end());
    for (auto& [name, entry] : parts_)
        if (paths.count(pathOf(name)) != 0)
            entry.standing = Standing::Content;
}

void Coverage::markExceptions() {
    for (const Types& kind : exceptedKinds()) {
        std::vector<Link*> found;
        for (Link& link : links_)
            if (PartName::isPackageRootUri(link.relationship.getSourceURI()) &&
                std::find(kind.begin(), kind.end(), link.relationship.getType()) != kind.end())
                found.push_back(&link);
        if (found.size() != 1)
            continue;
        found.front()->standing = Standing::Excepted;
        exceptPartOf(*found.front());
    }
}

void Coverage::exceptPartOf(const Link& link) {
    const auto part = findTarget(package_, link.relationship);
    if (!part || !part->getRelationships().empty() || !hasExceptedType(*part))
        return;
    const std::string path = pathOf(part->getName());
    if (std::count_if(links_.begin(), links_.end(),
                      [&path](const Link& each) { return each.paths.count(path) != 0; }) == 1)
        parts_[part->getName()] = {Standing::Excepted, link.key};
}

void Coverage::sortItems(const std::vector<std::string>& otherItems) {
    std::set<std::string> paths;
    for (const Link& link : links_)
        paths.insert(link.paths.begin(), link.paths.end());
    for (const std::string& item : otherItems) {
        const std::string path = detail::foldName(item);
        (isFolderOrTrash(item, path) && paths.count(path) == 0 ? exceptedItems_ : items_).push_back(item);
    }
}

std::vector<CoverageReport> Coverage::examine(const std::vector<SignatureReport>& reports) const {
    const std::size_t entities = links_.size() + parts_.size() + items_.size() + exceptedItems_.size();
    if (reports.size() > 1 && entities > MAXIMUM_EXAMINED_ENTITIES / reports.size())
        throw InvalidSignature("The package holds too much to look at what each of its " +
                               std::to_string(reports.size()) + " signatures covers.");
    std::vector<CoverageReport> coverage;
    coverage.reserve(reports.size());
    for (const SignatureReport& report : reports)
        coverage.push_back(examine(report));
    return coverage;
}

CoverageReport Coverage::examine(const SignatureReport& report) const {
    if (report.signature.getImpl()->signatureId == countersignatureId)
        return examineCountersignature(report);
    const Covered covered(report);
    CoverageReport coverage;
    coverage.otherItems = items_;
    coverage.exceptedItems = exceptedItems_;
    for (const Link& link : links_) {
        coverage.externalTargets += link.relationship.getTargetMode() == TargetMode::External ? 1 : 0;
        if (link.standing == Standing::Structure)
            continue;
        auto& list = covered.relationships.count(link.key) != 0 ? coverage.coveredRelationships
                     : link.standing == Standing::Excepted      ? coverage.exceptedRelationships
                                                                : coverage.uncoveredRelationships;
        list.push_back(link.relationship);
    }
    for (const auto& [name, entry] : parts_) {
        if (entry.standing == Standing::Structure)
            continue;
        const bool isExcepted =
            entry.standing == Standing::Excepted && covered.relationships.count(entry.exceptedBy) == 0;
        auto& list = covered.parts.count(name) != 0 ? coverage.coveredParts
                     : isExcepted                   ? coverage.exceptedParts
                                                    : coverage.uncoveredParts;
        list.push_back(name);
    }
    return coverage;
}

CoverageReport Coverage::examineCountersignature(const SignatureReport& report) const {
    const Covered covered(report);
    const PartName own(report.signature.getImpl()->partName);
    CoverageReport coverage;
    for (const PartName& name : signatures_)
        if (name != own)
            (covered.parts.count(name) != 0 ? coverage.coveredParts : coverage.uncoveredParts).push_back(name);
    return coverage;
}

SigningGaps Coverage::findGaps() const {
    SigningGaps gaps;
    for (const Link& link : links_)
        if (link.relationship.getTargetMode() == TargetMode::Internal && !findTarget(package_, link.relationship))
            gaps.danglingRelationships.push_back(link.relationship);
    gaps.otherItems = items_;
    return gaps;
}

} // namespace opc::model
