// SPDX-License-Identifier: Apache-2.0
#include "lint/RepairWork.hpp"

#include <opc/core/Characters.hpp>
#include <opc/core/ItemNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/model/ImageType.hpp>
#include <opc/signatures/SignatureForm.hpp>

#include "lint/Examination.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace opc::lint {

namespace {

constexpr std::string_view TYPES_NAMESPACE = "http://schemas.openxmlformats.org/package/2006/content-types";

struct KnownType {
    std::u16string_view extension;
    const char* contentType;
};

/// What producers write for these extensions, beside the images.
constexpr KnownType KNOWN_TYPES[] = {
    {u"rels", "application/vnd.openxmlformats-package.relationships+xml"},
    {u"xml", "application/xml"},
    {u"psmdcp", "application/vnd.openxmlformats-package.core-properties+xml"},
    {u"vml", "application/vnd.openxmlformats-officedocument.vmlDrawing"},
    {u"odttf", "application/vnd.openxmlformats-officedocument.obfuscatedFont"},
    {u"docx", "application/vnd.openxmlformats-officedocument.wordprocessingml.document"},
    {u"xlsx", "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
    {u"pptx", "application/vnd.openxmlformats-officedocument.presentationml.presentation"},
    {u"jpg", "image/jpeg"},
    {u"tif", "image/tiff"},
    {u"wdp", "image/vnd.ms-photo"},
    {u"ttf", "application/x-font-ttf"},
    {u"txt", "text/plain"},
    {u"md", "text/markdown"},
    {u"csv", "text/csv"},
    {u"html", "text/html"},
    {u"htm", "text/html"},
    {u"css", "text/css"},
    {u"js", "application/javascript"},
    {u"json", "application/json"},
    {u"pdf", "application/pdf"},
    {u"rtf", "application/rtf"},
    {u"zip", "application/zip"},
    {u"gz", "application/gzip"},
    {u"vsixmanifest", "text/xml"},
    {u"p7s", "application/pkcs7-signature"},
    {u"mp3", "audio/mpeg"},
    {u"mp4", "video/mp4"},
    {u"wav", "audio/x-wav"},
};

struct MainType {
    std::string_view begin;
    std::string_view end;
    const char* relationshipType;
    bool isOffice; ///< names parts by relationships only
};

constexpr const char* OFFICE = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument";
constexpr const char* VISIO = "http://schemas.microsoft.com/visio/2010/relationships/document";

/// In lower case. The ends are those of the main parts, of documents, templates and those with macros.
constexpr MainType MAIN_TYPES[] = {
    {"application/vnd.openxmlformats-officedocument.wordprocessingml.", ".main+xml", OFFICE, true},
    {"application/vnd.openxmlformats-officedocument.spreadsheetml.", ".main+xml", OFFICE, true},
    {"application/vnd.openxmlformats-officedocument.presentationml.", ".main+xml", OFFICE, true},
    {"application/vnd.ms-word.", ".main+xml", OFFICE, true},
    {"application/vnd.ms-excel.", ".main+xml", OFFICE, true},
    {"application/vnd.ms-excel.sheet.binary.", ".main", OFFICE, true},
    {"application/vnd.ms-powerpoint.", ".main+xml", OFFICE, true},
    {"application/vnd.ms-visio.", ".main+xml", VISIO, true},
    {"application/vnd.ms-package.xps-fixeddocumentsequence", "+xml",
     "http://schemas.microsoft.com/xps/2005/06/fixedrepresentation", false},
    {"application/vnd.ms-package.3dmanufacturing-3dmodel", "+xml",
     "http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel", false},
};

const MainType* findMainType(const std::string& contentType) {
    const std::string text = toText(toLowerASCIIString(toString(contentType, false)));
    const auto found = std::find_if(std::begin(MAIN_TYPES), std::end(MAIN_TYPES), [&](const MainType& each) {
        return text.size() >= each.begin.size() + each.end.size() &&
               text.compare(0, each.begin.size(), each.begin) == 0 &&
               text.compare(text.size() - each.end.size(), each.end.size(), each.end) == 0;
    });
    return found == std::end(MAIN_TYPES) ? nullptr : found;
}

/// Where the path of a URI begins: behind the scheme and the authority.
std::size_t beginOfPath(const std::string& text) {
    const std::size_t delimiter = text.find_first_of(":/?#");
    std::size_t begin = delimiter != text.npos && text[delimiter] == ':' ? delimiter + 1 : 0;
    if (text.compare(begin, 2, "//") == 0)
        begin = std::min(text.find_first_of("/\\?#", begin + 2), text.size());
    return begin;
}

/// Whether a content type is that of a signature, with white space or parameters, too.
bool isSignatureType(std::string type) {
    type.erase(std::remove_if(type.begin(), type.end(), [](char c) { return BLANKS.find(c) != BLANKS.npos; }),
               type.end());
    type.erase(std::min(type.find(';'), type.size()));
    for (const model::SignatureForm form : model::getAllSignatureForms())
        if (isSame(toString(type, false), model::getSignatureIdentifiers(form).signatureContentType))
            return true;
    return false;
}

/// Whether bytes have the type of a relationship to signatures.
bool hasOriginType(const std::vector<unsigned char>& bytes) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const auto forms = model::getAllSignatureForms();
    return std::any_of(forms.begin(), forms.end(), [&](model::SignatureForm form) {
        return text.find(toText(model::getSignatureIdentifiers(form).originRelationshipType)) != text.npos;
    });
}

/// Whether an item signs the file as a whole by its extension.
bool isPkcs7(const std::string& name) {
    const std::u16string extension = detail::getExtension(toString(name, false));
    return isSame(extension, u"p7s") || isSame(extension, u"p7x");
}

std::u16string lowerOf(std::string_view text) {
    return toLowerASCIIString(toString(text, false));
}

std::u16string lowerItemURI(const std::string& name) {
    return toLowerASCIIString(detail::toItemURI(plainItemName(name)));
}

} // namespace

std::string attributeOf(const detail::XmlTag& tag, std::string_view name) {
    const std::string* value = tag.attribute(name);
    return value == nullptr ? std::string() : *value;
}

std::string plainItemName(const std::string& name) {
    std::string plain;
    for (const char c : name)
        if ((c != '/' && c != '\\') || (!plain.empty() && plain.back() != '/'))
            plain += c == '\\' ? '/' : c;
    return plain;
}

std::string escapedURI(const std::string& text) {
    constexpr std::string_view reserved = ":/?@!$&'()*+,;=";
    const std::size_t path = beginOfPath(text);
    const std::size_t fragment = text.find('#');
    std::string uri;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool isHost = i < path && (c == '[' || c == ']');
        if (detail::isUnreserved(static_cast<unsigned char>(c)) || reserved.find(c) != reserved.npos || isHost ||
            i == fragment || detail::escapedByte(std::string_view(text), i) >= 0)
            uri += c;
        else
            detail::appendEscape(uri, static_cast<unsigned char>(c));
    }
    return uri;
}

std::string contentTypeOfExtension(std::u16string_view extension) {
    for (const KnownType& each : KNOWN_TYPES)
        if (isSame(each.extension, extension))
            return each.contentType;
    for (const model::ImageType& each : model::getImageTypes())
        if (isSame(each.extension, extension))
            return toText(each.contentType);
    return "application/octet-stream";
}

const char* mainRelationshipTypeOf(const std::string& contentType) {
    const MainType* type = findMainType(contentType);
    return type == nullptr ? nullptr : type->relationshipType;
}

bool isNamedByRelationshipsOnly(const std::string& contentType) {
    const MainType* type = findMainType(contentType);
    return type != nullptr && type->isOffice;
}

void RepairTypes::read(RepairSnapshot& snapshot) {
    RepairDocument* document = nullptr;
    for (const auto& item : snapshot.getItems()) {
        if (!item->isContentTypes() || item->isDeleted)
            continue;
        if (document != nullptr)
            return; // which one counts is not known
        document = snapshot.read(*item);
        if (document == nullptr)
            return;
    }
    if (document == nullptr || !document->hasRoot(TYPES_NAMESPACE, "Types"))
        return;
    document_ = document;
    for (const detail::XmlChild& child : document->getPieces().children) {
        detail::XmlTag tag = detail::readXmlTag(document->getPieces().textOf(child));
        const bool isDefault = document->isChild(tag, "Default");
        if (!isDefault && !document->isChild(tag, "Override"))
            continue;
        std::string name = attributeOf(tag, isDefault ? "Extension" : "PartName");
        std::string type = attributeOf(tag, "ContentType");
        entries_.push_back({&child, std::move(tag), isDefault, std::move(name), std::move(type)});
    }
    index();
}

void RepairTypes::index() {
    byName_.clear();
    for (std::size_t i = 0; i < entries_.size(); ++i)
        if (!entries_[i].isGone)
            byName_.emplace(Key(entries_[i].isDefault, lowerOf(entries_[i].name)), i);
}

const std::string* RepairTypes::findType(const Key& key) const {
    if (const auto found = byName_.find(key); found != byName_.end())
        return &entries_[found->second].type;
    const auto found = added_.find(key);
    return found == added_.end() ? nullptr : &found->second;
}

std::optional<std::string> RepairTypes::find(std::u16string_view partName) const {
    for (const Key& key :
         {Key(false, toLowerASCIIString(partName)), Key(true, toLowerASCIIString(detail::getExtension(partName)))})
        if (const std::string* type = findType(key))
            return *type;
    return std::nullopt;
}

TypeEntry* RepairTypes::findEntry(std::u16string_view partName) {
    for (const Key& key :
         {Key(false, toLowerASCIIString(partName)), Key(true, toLowerASCIIString(detail::getExtension(partName)))})
        if (const auto found = byName_.find(key); found != byName_.end())
            return &entries_[found->second];
    return nullptr;
}

void RepairTypes::add(bool isDefault, const std::string& name, const std::string& type) {
    document_->append(isDefault ? "Default" : "Override",
                      {{isDefault ? "Extension" : "PartName", name}, {"ContentType", type}});
    added_.emplace(Key(isDefault, lowerOf(name)), type);
}

RepairWork::RepairWork(interfaces::IPhysicalItems& store, const RepairOptions& options)
    : options_(options), snapshot_(store, options.limits) {}

bool RepairWork::wants(RuleId rule) const {
    return options_.only.empty() || options_.only.count(rule) != 0;
}

bool RepairWork::add(RepairStep step, bool isChosen) {
    const RuleId rule = step.finding.rule;
    if (!wants(rule))
        return false;
    step.finding.place.reason = step.finding.message;
    if (step.why.empty() && step.deletes && !isChosen && options_.only.count(rule) == 0)
        step.why = "a step that deletes is applied only when its rule is named";
    const bool isDone = step.why.empty();
    isChanged_ = isChanged_ || isDone;
    step.applies = isDone;
    plan_.steps.push_back(std::move(step));
    return isDone;
}

std::string RepairWork::getRefusal() const {
    if (!signatures_.empty() && !options_.breaksSignatures)
        return "the package is signed";
    return losesSurroundings ? "what the file has beside the archive would be lost" : "";
}

void RepairWork::refuseSteps() {
    const std::string refusal = getRefusal();
    for (RepairStep& step : plan_.steps) {
        if (step.applies)
            step.why = refusal;
        step.applies = step.why.empty();
    }
}

/// What is wrong with names and content types hides no signature.
void RepairWork::findSignatures() {
    std::set<std::u16string> typed; // by any Override
    for (const TypeEntry& entry : types_.getEntries())
        if (!entry.isDefault && isSignatureType(entry.type))
            typed.insert(lowerItemURI(entry.name));
    for (const auto& item : snapshot_.getItems()) {
        if (item->isDeleted || item->isFolder())
            continue;
        const std::u16string name = lowerItemURI(item->getName());
        const auto type = types_.find(name);
        const bool isOrigin = !types_.isRead() && name == u"/_rels/.rels";
        if (isPkcs7(item->getName()) || typed.count(name) != 0 || (type && isSignatureType(*type)))
            signatures_.push_back(type ? item->getPlace() : item->getName());
        else if (const auto bytes = isOrigin ? snapshot_.readBytes(*item, snapshot_.getLimits().xmlSize) : std::nullopt;
                 bytes && hasOriginType(*bytes))
            signatures_.push_back(item->getName());
    }
}

Finding itemFinding(RuleId rule, const RepairItem& item, const std::string& message) {
    Finding finding{rule, {}, message};
    finding.place.item = item.getPlace();
    finding.place.value = item.getName();
    return finding;
}

Finding childFinding(RuleId rule, const std::string& place, const detail::XmlChild& child, const detail::XmlTag& tag,
                     const std::string& attribute, const std::string& message) {
    Finding finding{rule, {}, message};
    finding.place.item = place;
    finding.place.line = child.tagEnd.line;
    finding.place.column = child.tagEnd.column;
    finding.place.element = tag.name;
    finding.place.attribute = attribute;
    finding.place.value = attributeOf(tag, attribute);
    finding.place.id = attributeOf(tag, "Id");
    return finding;
}

} // namespace opc::lint
