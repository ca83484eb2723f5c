// SPDX-License-Identifier: Apache-2.0
#include "lint/Examination.hpp"

#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/XmlPieces.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>

#include <algorithm>
#include <map>
#include <utility>

namespace opc::lint {

/// Where the relationships of one source are in their part.
class Examination::Lines {
public:
    Lines(std::string item, const std::vector<unsigned char>& bytes, const Limits& limits) : item_(std::move(item)) {
        if (bytes.empty())
            return;
        const detail::XmlPieces pieces = detail::splitXml(bytes, limits);
        for (const detail::XmlChild& child : pieces.children) {
            const detail::XmlTag tag = detail::readXmlTag(pieces.textOf(child));
            if (const std::string* id = tag.attribute("Id"))
                places_.emplace(*id, child.tagEnd);
        }
    }

    const std::string& getItem() const noexcept { return item_; }

    detail::XmlPosition find(const std::string& id) const {
        const auto found = places_.find(id);
        return found == places_.end() ? detail::XmlPosition{} : found->second;
    }

private:
    std::string item_;
    std::map<std::string, detail::XmlPosition> places_;
};

std::string toText(std::u16string_view text) {
    return detail::toUTF8String(text, false);
}

std::string inQuotes(std::string_view value) {
    constexpr std::size_t longest = 200;
    std::size_t size = std::min(value.size(), longest);
    while (size < value.size() && (static_cast<unsigned char>(value[size]) & 0xC0) == 0x80)
        --size; // not within a character
    return '"' + std::string(value.substr(0, size)) + (size == value.size() ? "\"" : "\" …");
}

std::string inQuotes(std::u16string_view value) {
    return inQuotes(std::string_view(toText(value)));
}

bool isSame(std::u16string_view a, std::u16string_view b) noexcept {
    return a.size() == b.size() && caselessCompare(a, b) == 0;
}

std::u16string mediaTypeOf(const model::ContentType& type) {
    const std::u16string text = type.toString();
    return toLowerASCIIString(std::u16string_view(text).substr(0, text.find(u';')));
}

bool Link::isOfPackage() const {
    return model::PartName::isPackageRootUri(source.getSourceURI());
}

Examination::Examination(const model::Package& package, interfaces::IPhysicalPackage& store, const Options& options,
                         FindingList& findings)
    : package_(package), store_(store), options_(options), findings_(findings), parts_(package.getParts()) {
    const std::vector<interfaces::IPhysicalPart*> stored = store.getParts();
    names_.reserve(stored.size());
    for (const interfaces::IPhysicalPart* part : stored) {
        names_.push_back(part->getName());
        if (detail::isRelationshipsPartName(names_.back()))
            relationshipsParts_.insert(toLowerASCIIString(names_.back()));
    }
    mediaTypeOfParts_.reserve(parts_.size());
    for (const model::Part& part : parts_) {
        const model::ContentType type = part.getContentType();
        const auto [known, isNew] = mediaTypes_.try_emplace(type);
        if (isNew)
            known->second = mediaTypeOf(type);
        mediaTypeOfParts_.push_back(&known->second);
    }
}

Examination::~Examination() = default;

const model::Part* Examination::findPart(std::u16string_view name) const {
    const auto isBefore = [](const model::Part& part, const std::u16string& text) { return part.getName() < text; };
    const std::u16string text(name);
    const auto found = std::lower_bound(parts_.begin(), parts_.end(), text, isBefore);
    return found == parts_.end() || found->getName() != text ? nullptr : &*found;
}

const model::RelationshipSource* Examination::findSource(std::u16string_view name) const {
    return name == u"/" ? static_cast<const model::RelationshipSource*>(&package_) : findPart(name);
}

bool Examination::hasItem(std::u16string_view name) const {
    return findPart(name) != nullptr || relationshipsParts_.count(toLowerASCIIString(name)) != 0;
}

Link Examination::resolve(const model::RelationshipSource& source, const model::Relationship& relationship) const {
    Link link{source, relationship, relationship.getType()};
    if (link.isExternal())
        return link;
    try {
        const model::URI target = relationship.getTargetURI();
        if (!target.hasScheme() && !target.hasAuthority())
            link.path = target.getPath();
        link.target = findPart(link.path);
    } catch (const opc::Exception&) {
        link.path.clear(); // it has a scheme
    }
    return link;
}

void Examination::report(RuleId rule, ErrorPlace place, const std::string& message) {
    place.reason = message;
    findings_.found({rule, std::move(place), message});
}

void Examination::reportItem(RuleId rule, std::u16string_view item, const std::string& message) {
    ErrorPlace place;
    place.item = toText(item);
    report(rule, std::move(place), message);
}

void Examination::reportDamage(std::u16string_view item, const Exception& error) {
    if (error.code() == boost::system::errc::no_such_file_or_directory)
        return; // which the store told when it was opened
    if (error.code() != boost::system::errc::bad_message)
        throw;
    if (!findings_.has(RuleId::ZipDamaged, toText(item)))
        reportItem(RuleId::ZipDamaged, item, error.what());
}

const Examination::Lines& Examination::linesOf(const model::RelationshipSource& source, const std::string& item) {
    if (!lines_ || lines_->getItem() != item) {
        std::vector<unsigned char> bytes;
        if (options_.readsContents)
            readItem(toString(item), [&] { bytes = source.readRelationshipsPart(); });
        lines_ = std::make_unique<Lines>(item, bytes, options_.limits);
    }
    return *lines_;
}

void Examination::reportLink(RuleId rule, const Link& link, const std::string& message, bool isAboutType) {
    ErrorPlace place;
    place.item = toText(link.source.getRelationshipsPartName().toString());
    place.element = "Relationship";
    place.id = toText(link.relationship.getID());
    place.attribute = isAboutType ? "Type" : "Target";
    place.value = toText(isAboutType ? link.type : link.relationship.getTarget());
    const detail::XmlPosition found = linesOf(link.source, place.item).find(place.id);
    place.line = found.line;
    place.column = found.column;
    report(rule, std::move(place), message);
}

} // namespace opc::lint
