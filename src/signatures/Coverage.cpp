// SPDX-License-Identifier: Apache-2.0
#include "signatures/Coverage.hpp"

#include "model/ItemBytes.hpp"
#include "signatures/SignatureBounds.hpp"
#include "signatures/SignatureOrigin.hpp"
#include "signatures/SignedEntities.hpp"
#include "xml/PlainXml.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/FoldedNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/ImageType.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <string_view>

namespace opc::model {

namespace {

using Key = Coverage::Key;
using Types = std::vector<std::u16string>;

bool isEqual(const XMLCh* text, std::u16string_view expected) {
    return text != nullptr && text == expected;
}

/// Whether a part is XML with this root.
bool hasRoot(const Part& part, const Limits& limits, std::u16string_view namespaceURI, std::u16string_view name) {
    const std::vector<unsigned char> bytes = readXmlItem(*part.getInputStream(), limits.xmlSize);
    const ParserHandle parser = XercesHelper::createParser(limits);
    ByteArrayInAdaptor stream(bytes);
    const auto* document = XercesHelper::readDocumentFromStream(*parser, stream, false, u"", u"");
    const auto* root = document->getDocumentElement();
    return isPlainXml(bytes, *document) && isEqual(root->getNamespaceURI(), namespaceURI) &&
           isEqual(root->getLocalName(), name);
}

/// The content type without its parameters.
ContentType plainTypeOf(const Part& part) {
    const ContentType type = part.getContentType();
    return ContentType(type.getType() + u"/" + type.getSubType());
}

bool isCoreProperties(const Part& part, const Limits& limits) {
    return plainTypeOf(part) == PackageHelper::getCorePropertiesContentType() &&
           hasRoot(part, limits, u"http://schemas.openxmlformats.org/package/2006/metadata/core-properties",
                   u"coreProperties");
}

bool isExtendedProperties(const Part& part, const Limits& limits) {
    const auto has = [&](const char16_t* namespaceURI) { return hasRoot(part, limits, namespaceURI, u"Properties"); };
    return plainTypeOf(part) == ContentType(u"application/vnd.openxmlformats-officedocument.extended-properties+xml") &&
           (has(u"http://schemas.openxmlformats.org/officeDocument/2006/extended-properties") ||
            has(u"http://purl.oclc.org/ooxml/officeDocument/extendedProperties"));
}

bool isImage(const Part& part, const Limits& /*limits*/) {
    constexpr std::uint64_t enough = 1 << 20;
    if (caselessCompare(part.getContentType().getType(), u"image") != 0)
        return false;
    const ImageType* type = findImageType(readXmlItem(*part.getInputStream(), enough));
    return type != nullptr && type->extension != std::u16string_view(u"svg"); // which is text
}

/// What the names of parts end with and, where that is "xml", have in them; in lower case.
struct Names {
    std::vector<std::string_view> extensions;
    std::vector<std::string_view> wordsOfXml{};
};

/// What of a package is not content: the part that one relationship of such a type leads to, if it is what the type
/// says, under a name that says so, too. A program that goes by names or by what it finds could take anything else for
/// a document or a script.
struct ExceptedKind {
    Types relationshipTypes;
    Names names;
    bool (*matches)(const Part& part, const Limits& limits);
};

std::vector<ExceptedKind> exceptedKinds() {
    return {{PackageHelper::getCorePropertiesRelationshipTypes(),
             {{"xml", "psmdcp", "prop"}, {"core", "prop"}},
             isCoreProperties},
            {{u"http://schemas.openxmlformats.org/officeDocument/2006/relationships/extended-properties",
              u"http://purl.oclc.org/ooxml/officeDocument/relationships/extendedProperties"},
             {{"xml"}, {"app", "prop"}},
             isExtendedProperties},
            {{PackageHelper::getThumbnailRelationshipType()},
             {{"png", "jpg", "jpeg", "jpe", "jfif", "gif", "bmp", "dib", "tif", "tiff", "emf", "wmf", "webp"}},
             isImage}};
}

/// LibreOffice signs relationships of its own types for core properties, as it does in workbooks, but never the part.
bool isSignedWithoutPart(const Relationship& relationship) {
    const Types types = PackageHelper::getCorePropertiesRelationshipTypes();
    const std::u16string type = relationship.getType();
    return type != PackageHelper::getCorePropertiesRelationshipType() &&
           std::find(types.begin(), types.end(), type) != types.end();
}

bool matches(const ExceptedKind& kind, const Part& part, const Limits& limits) {
    try {
        return kind.matches(part, limits);
    } catch (const Exception&) { // it cannot be read, or is not XML
        return false;
    }
}

/// Whether a program could take the package for an OpenDocument file by this item (OpenDocument 1.2 part 3 §3).
bool isOfOpenDocument(const std::string& path) {
    return path == "mimetype" || path == "content.xml" || path.starts_with("meta-inf/");
}

/// Empty for the root.
std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

/// Whether the name of a part is like one of these, and has an extension nowhere else: a program that takes parts by
/// patterns of names could find "word/document.xml" in "word/document.xml.png".
bool isNamedLike(const Names& names, const std::string& path) {
    const std::string folder = folderOf(path);
    for (std::size_t dot = folder.find('.'); dot != std::string::npos; dot = folder.find('.', dot + 1))
        if (dot != 0 && folder[dot - 1] != '/')
            return false;
    const std::string file = path.substr(path.rfind('/') + 1);
    const std::size_t end = file.find('.');
    if (end == std::string::npos)
        return false;
    const std::string extension = file.substr(end + 1);
    const std::string stem = file.substr(0, end);
    const auto isInStem = [&stem](std::string_view word) { return stem.find(word) != std::string::npos; };
    return std::ranges::find(names.extensions, extension) != names.extensions.end() &&
           (extension != "xml" || std::ranges::any_of(names.wordsOfXml, isInStem));
}

/// Whether a part is in a folder for signatures, such as "/_xmlsignatures" or "/package/services/digital-signature".
/// Elsewhere, a program that takes parts by their names could take a signature for content.
/// @param contentFolders below which no folder is one for signatures.
bool isAmongSignatures(const std::string& path, const std::set<std::string>& contentFolders) {
    std::string folder = folderOf(path);
    if (folder.find("signature") == std::string::npos)
        return false;
    for (folder = folderOf(folder); !folder.empty(); folder = folderOf(folder))
        if (contentFolders.count(folder) != 0)
            return false;
    return true;
}

bool isXml(const Part& part) {
    return caselessCompare(part.getContentType().getType(), u"image") != 0;
}

/// Whether content lies in the folder of a part, or in one above it but the root. Custom properties lie beside the
/// others in "/docProps".
bool isAmongContent(const std::string& path, const std::set<std::string>& contentFolders) {
    std::string folder = folderOf(path);
    if (folder == "docprops")
        return false;
    if (contentFolders.count(folder) != 0)
        return true;
    for (folder = folderOf(folder); !folder.empty(); folder = folderOf(folder))
        if (contentFolders.count(folder) != 0)
            return true;
    return false;
}

/// Whether a relationship leads to a part as a whole, as far as it can be told without the part.
bool isPlainTarget(const Relationship& relationship) {
    if (relationship.getTargetMode() == TargetMode::External)
        return false;
    const URI target(relationship.getTarget());
    return !target.hasScheme() && !target.hasAuthority() && !target.hasQuery() && !target.hasFragment();
}

/// Whether a relationship leads out of the package, also where it does not say so.
bool leadsOut(const Relationship& relationship) {
    if (relationship.getTargetMode() == TargetMode::External)
        return true;
    const URI target(relationship.getTarget());
    return target.hasScheme() || target.hasAuthority();
}

Key keyOf(const Relationship& relationship) {
    return {toLowerASCIIString(relationship.getSourceURI().toString()), relationship.getID()};
}

/// The target part of an internal relationship, if it exists.
std::optional<Part> findTarget(const Package& package, const Relationship& relationship) {
    if (relationship.getTargetMode() == TargetMode::External)
        return std::nullopt;
    try {
        const URI target = relationship.getTargetURI();
        const PartName name(target.getPath());
        if (!target.hasScheme() && !target.hasAuthority() && package.hasPart(name))
            return package.getPart(name);
    } catch (const Exception&) { // not a part name
    }
    return std::nullopt;
}

std::string pathOf(const PartName& name) {
    return detail::foldName(toASCIIString(name.toString()));
}

/// Where a relationship leads; its target mode is not looked at.
std::set<std::string> pathsOf(const Relationship& relationship) {
    return detail::foldTarget(relationship.getSourceURI().getPath(), relationship.getTarget());
}

bool isEmpty(const Part& part) {
    bool empty = true;
    try {
        readItem(
            *part.getInputStream(), [&empty](const unsigned char*, std::size_t size) { return empty = size == 0; });
    } catch (const Exception&) { // unknown
        return false;
    }
    return empty;
}

/// Whether an item is of a folder, or one that Office programs no longer need ("[trash]/0000.dat").
bool isFolderOrTrash(const std::string& item) {
    constexpr std::string_view folder = "[trash]/";
    constexpr std::string_view extension = ".dat";
    return item.ends_with('/') ||
           (item.starts_with(folder) && item.ends_with(extension) &&
            item.find_first_not_of("0123456789ABCDEFabcdef", folder.size()) == item.size() - extension.size());
}

/// The parts and relationships that one signature covers.
struct Covered {
    std::set<PartName> parts;
    std::set<Key> relationships;

    explicit Covered(const SignatureReport& report) {
        if (isManifestAuthentic(report))
            for (const ReferenceReport& reference : report.references)
                add(reference);
    }

private:
    /// Whether the manifest is the one that was signed. Its references may be invalid.
    static bool isManifestAuthentic(const SignatureReport& report) {
        return report.signatureValueHolds &&
               std::all_of(
                   report.references.begin(), report.references.end(),
                   [](const ReferenceReport& each) { return each.kind != ReferenceKind::Object || each.holds(); });
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

Coverage::Coverage(const Package& package, const std::vector<SignatureForm>& forms,
                   const std::vector<DigitalSignature>& signatures, const std::vector<std::string>& otherItems,
                   CoverageScope scope)
    : package_(package), all_(signatures) {
    collect();
    for (const DigitalSignature& signature : signatures)
        signatures_.emplace_back(signature.getImpl()->partName);
    for (const SignatureForm form : forms)
        markStructure(rulesOf(form), signatures);
    demoteLinkedStructure();
    if (scope == CoverageScope::Content)
        markExceptions();
    sortItems(otherItems);
    for (const std::u16string& item : package.getItemsNotReadWhole())
        items_.push_back(detail::toUTF8String(item, false));
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

/// The origin that is used, and what it leads to. Of a package with a second one no signature is valid.
void Coverage::markStructure(const SignatureFormRules& form, const std::vector<DigitalSignature>& signatures) {
    const auto relationship = findOriginRelationship(package_, form);
    const auto isOfForm = [&form](const DigitalSignature& each) {
        return rulesOf(each.getForm()).isStandard() == form.isStandard();
    };
    const bool isUsed = signatures.empty() || std::any_of(signatures.begin(), signatures.end(), isOfForm);
    if (!relationship || !isUsed)
        return;
    const Key key = keyOf(*relationship);
    for (Link& link : links_)
        if (link.key == key)
            link.category = Category::Structure;
    if (const auto origin = findTarget(package_, *relationship)) {
        if (isEmpty(*origin))
            markPart(origin->getName(), form.originContentType);
        markLinks(origin->getSourceURI(), form.signatureRelationshipType);
    }
    for (const DigitalSignature& signature : signatures)
        if (isOfForm(signature)) {
            markPart(signature.getPartName(), form.signatureContentType);
            markCertificates(*signature.getImpl(), form);
        }
}

/// Certificates in parts of their own, each exactly one certificate, and the relationships to them.
void Coverage::markCertificates(const DigitalSignatureData& signature, const SignatureFormRules& form) {
    for (const PartName& name : signature.standard.certificateParts)
        markPart(name, form.certificateContentType);
    const URI source(signature.partName);
    for (Link& link : links_) {
        const auto target = link.relationship.getSourceURI() == source &&
                                    link.relationship.getType() == form.certificateRelationshipType
                                ? findTarget(package_, link.relationship)
                                : std::nullopt;
        const auto& parts = signature.standard.certificateParts;
        if (target && std::find(parts.begin(), parts.end(), target->getName()) != parts.end())
            link.category = Category::Structure;
    }
}

void Coverage::markPart(const PartName& name, const char16_t* contentType) {
    const auto found = parts_.find(name);
    if (found != parts_.end() && package_.getPart(name).getContentType() == ContentType(contentType))
        found->second.category = Category::Structure;
}

void Coverage::markLinks(const URI& source, const char16_t* type) {
    for (Link& link : links_)
        if (link.relationship.getSourceURI() == source && link.relationship.getType() == type &&
            findTarget(package_, link.relationship))
            link.category = Category::Structure;
}

/// A part that another relationship leads to, or that some program could find by its name, is content.
void Coverage::demoteLinkedStructure() {
    std::set<std::string_view> paths;
    for (const Link& link : links_)
        if (link.category != Category::Structure)
            paths.insert(link.paths.begin(), link.paths.end());
    const Names names{{"sigs", "sig", "psdsor", "psdsxs", "xml", "cer", "crt", "der"}, {"sig"}};
    std::set<std::string> folders;
    for (const auto& [name, entry] : parts_)
        if (entry.category == Category::Content)
            folders.insert(folderOf(pathOf(name)));
    for (auto& [name, entry] : parts_) {
        if (entry.category != Category::Structure)
            continue;
        const std::string path = pathOf(name);
        const bool isExpected = isAmongSignatures(path, folders) && isNamedLike(names, path) && !isOfOpenDocument(path);
        if (paths.count(path) != 0 || !isExpected)
            entry.category = Category::Content;
    }
}

void Coverage::markExceptions() {
    for (const ExceptedKind& kind : exceptedKinds()) {
        const Types& types = kind.relationshipTypes;
        std::vector<Link*> found;
        for (Link& link : links_)
            if (PartName::isPackageRootUri(link.relationship.getSourceURI()) &&
                std::find(types.begin(), types.end(), link.relationship.getType()) != types.end())
                found.push_back(&link);
        if (found.size() != 1 || !isPlainTarget(found.front()->relationship))
            continue;
        found.front()->category = Category::Excepted;
        const auto part = findTarget(package_, found.front()->relationship);
        if (part && isNamedLike(kind.names, pathOf(part->getName())) && part->getRelationships().empty() &&
            matches(kind, *part, package_.getLimits()))
            exceptPart(*part, *found.front());
    }
    demotePropertiesAmongContent();
}

/// Properties among content could be taken for content by a program that goes by names ("/word/numbering.xml").
void Coverage::demotePropertiesAmongContent() {
    std::set<std::string> folders;
    for (const auto& [name, entry] : parts_)
        if (entry.category == Category::Content)
            folders.insert(folderOf(pathOf(name)));
    for (auto& [name, entry] : parts_)
        if (entry.category == Category::Excepted && isXml(package_.getPart(name)) &&
            isAmongContent(pathOf(name), folders))
            entry.category = Category::Content;
}

void Coverage::exceptPart(const Part& part, const Link& link) {
    const std::string path = pathOf(part.getName());
    if (isOfOpenDocument(path))
        return;
    if (std::count_if(links_.begin(), links_.end(),
                      [&path](const Link& each) { return each.paths.count(path) != 0; }) == 1)
        parts_[part.getName()] = {Category::Excepted, isSignedWithoutPart(link.relationship) ? Key() : link.key};
}

void Coverage::sortItems(const std::vector<std::string>& otherItems) {
    std::set<std::string_view> paths;
    if (!otherItems.empty())
        for (const Link& link : links_)
            paths.insert(link.paths.begin(), link.paths.end());
    for (const std::string& item : otherItems) {
        const std::string path = detail::foldName(item);
        (isFolderOrTrash(item) && paths.count(path) == 0 ? exceptedItems_ : items_).push_back(item);
    }
}

std::vector<CoverageReport> Coverage::examine(const std::vector<SignatureReport>& reports) const {
    const std::size_t entities = links_.size() + parts_.size() + items_.size() + exceptedItems_.size();
    if (reports.size() > 1 && entities > MAXIMUM_EXAMINED_ENTITIES / reports.size())
        throw InvalidSignature("The package has too many parts, relationships and items to examine the coverage of " +
                               std::to_string(reports.size()) + " signatures.");
    std::vector<CoverageReport> coverage;
    coverage.reserve(reports.size());
    for (const SignatureReport& report : reports)
        coverage.push_back(examine(report));
    return coverage;
}

CoverageReport Coverage::examine(const SignatureReport& report) const {
    if (isCountersignature(*report.signature.getImpl(), all_))
        return examineCountersignature(report);
    const Covered covered(report);
    CoverageReport coverage;
    coverage.otherItems = items_;
    coverage.exceptedItems = exceptedItems_;
    for (const Link& link : links_) {
        coverage.externalTargets += leadsOut(link.relationship) ? 1 : 0;
        if (link.category == Category::Structure)
            continue;
        auto& list = covered.relationships.count(link.key) != 0 ? coverage.coveredRelationships
                     : link.category == Category::Excepted      ? coverage.exceptedRelationships
                                                                : coverage.uncoveredRelationships;
        list.push_back(link.relationship);
    }
    for (const auto& [name, entry] : parts_) {
        if (entry.category == Category::Structure)
            continue;
        const bool isExcepted =
            entry.category == Category::Excepted && covered.relationships.count(entry.exceptedBy) == 0;
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

SigningRequest Coverage::makeRequest() const {
    SigningRequest request;
    for (const auto& [name, entry] : parts_)
        if (entry.category == Category::Content)
            request.parts.push_back(name);
    for (const Link& link : links_)
        if (link.category == Category::Content)
            request.selectors.emplace_back(link.relationship.getSourceURI(), RelationshipSelectorType::ById,
                                           link.relationship.getID());
    return request;
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
