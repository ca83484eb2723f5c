// SPDX-License-Identifier: Apache-2.0
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>

#include "lint/AttributeValues.hpp"
#include "lint/Examination.hpp"
#include "lint/RepairTargets.hpp"
#include "lint/RepairWork.hpp"

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>

namespace opc::lint {

namespace {

using model::PackageHelper;

constexpr std::string_view RELATIONSHIPS_NAMESPACE = "http://schemas.openxmlformats.org/package/2006/relationships";
constexpr const char* STRICT = "http://purl.oclc.org/ooxml/officeDocument/relationships/officeDocument";
constexpr std::string_view STRICT_TYPES = "http://purl.oclc.org/ooxml/";

bool isWholeRelationship(const RepairDocument& document, const detail::XmlChild& child) {
    const auto tag = detail::readXmlTag(document.getPieces().textOf(child));
    const auto has = [&tag](const char* name) { return !attributeOf(tag, name).empty(); };
    return document.isChild(tag, "Relationship") && has("Id") && has("Type") && tag.attribute("Target") != nullptr;
}

std::string standardCoreType() {
    return toText(PackageHelper::getCorePropertiesRelationshipType());
}

bool isCorePropertiesTypeName(const std::string& type) {
    const auto types = PackageHelper::getCorePropertiesRelationshipTypes();
    return std::find(types.begin(), types.end(), toString(type, false)) != types.end();
}

/// Whether a text is a name without colons (Namespaces in XML §3), as far as ASCII goes.
bool isId(const std::string& text) {
    const auto isLetter = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || static_cast<unsigned char>(c) >= 0x80;
    };
    const auto isPart = [&](char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '-' || c == '.'; };
    return !text.empty() && isLetter(text.front()) && std::all_of(text.begin(), text.end(), isPart);
}

/// A relationship with what is mended in it.
struct RepairLink {
    const detail::XmlChild* child;
    detail::XmlTag tag;
    std::string id;
    std::string type;
    std::string target;
    bool isExternal;
    bool isGone = false;

    bool isSameBut(const RepairLink& other) const {
        return type == other.type && target == other.target && isExternal == other.isExternal;
    }
};

/// The relationships of one source.
class LinksMender {
public:
    LinksMender(RepairWork& work, RepairItem& item, RepairDocument& document)
        : work_(work), item_(item), document_(document), source_(detail::getSourcePartName(item.getPartName())),
          targets_(work.getSnapshot(), source_) {
        for (const detail::XmlChild& child : document.getPieces().children) {
            detail::XmlTag tag = detail::readXmlTag(document.getPieces().textOf(child));
            if (!document.isChild(tag, "Relationship"))
                continue;
            RepairLink link{&child,
                            {},
                            attributeOf(tag, "Id"),
                            attributeOf(tag, "Type"),
                            attributeOf(tag, "Target"),
                            attributeOf(tag, "TargetMode") == "External"};
            link.tag = std::move(tag);
            links_.push_back(std::move(link));
        }
    }

    void run() {
        for (RepairLink& link : links_)
            mendTarget(link);
        mendIds();
        if (source_ == u"/")
            mendCoreProperties();
    }

private:
    RepairStep stepFor(RuleId rule, const RepairLink& link, const char* attribute, const std::string& problem) const {
        return {childFinding(rule, item_.getPlace(), *link.child, link.tag, attribute, problem)};
    }

    bool apply(RepairStep step, const RepairLink& link) {
        if (!work_.add(std::move(step)))
            return false;
        work_.changedRelationships.emplace(toLowerASCIIString(source_), link.id);
        return true;
    }

    void remove(RepairLink& link) {
        document_.remove(*link.child);
        link.isGone = true;
    }

    void set(RepairLink& link, const char* attribute, std::string RepairLink::*field, const std::string& value) {
        document_.setAttribute(*link.child, attribute, value);
        link.*field = value;
    }

    void mendTarget(RepairLink& link) {
        const bool isNull = link.target == "NULL" && !link.isExternal && targets_.find(link.target) == nullptr;
        if (link.target.empty() || isNull)
            return removeWithoutTarget(link);
        const bool isAccepted = targets_.isAccepted(link.target, link.isExternal);
        const auto reachable = link.isExternal ? std::nullopt : targets_.findReachable(link.target);
        const std::string target = reachable ? *reachable : isAccepted ? link.target : escapedURI(link.target);
        if (target == link.target)
            return;
        const RepairItem* item = reachable ? targets_.find(target) : nullptr;
        const RuleId rule = item != nullptr && item->renamedFor     ? *item->renamedFor
                            : !isAccepted                           ? RuleId::RelationshipTarget
                            : targets_.find(link.target) != nullptr ? RuleId::TargetCase
                                                                    : RuleId::DanglingTarget;
        RepairStep step = stepFor(rule, link, "Target", problemOf(rule, link.target));
        step.change = "changes the Target to " + inQuotes(std::string_view(target));
        if (!targets_.isAccepted(target, link.isExternal))
            step.why = "it would not be a URI reference either";
        if (apply(std::move(step), link))
            set(link, "Target", &RepairLink::target, target);
    }

    static std::string problemOf(RuleId rule, const std::string& target) {
        const std::string text = "Target " + inQuotes(std::string_view(target));
        return text +
               (rule == RuleId::RelationshipTarget ? " is not a URI reference" : " is not how the part is named");
    }

    void removeWithoutTarget(RepairLink& link) {
        RepairStep step = stepFor(link.target.empty() ? RuleId::RelationshipTarget : RuleId::DanglingTarget, link,
                                  "Target", "Target " + inQuotes(std::string_view(link.target)) + " leads to nothing");
        step.change = "deletes the relationship";
        step.loss = "the relationship of the type " + inQuotes(std::string_view(link.type));
        if (refersTo(link.id) || !values().getProblem().empty())
            step.loss += ", to which the source may refer";
        step.deletes = true;
        if (apply(std::move(step), link))
            remove(link);
    }

    /// What the source has as attribute values.
    const AttributeValues& values() {
        if (!values_)
            values_ = std::make_unique<AttributeValues>(readValues());
        return *values_;
    }

    AttributeValues readValues() {
        std::set<std::string> sought;
        for (const RepairLink& link : links_)
            sought.insert(link.id);
        const RepairItem* source = work_.getSnapshot().find(source_);
        if (source == nullptr)
            return {};
        auto bytes = source->isPiece()
                         ? std::nullopt
                         : work_.getSnapshot().readBytes(*source, work_.getSnapshot().getLimits().xmlSize);
        return {bytes ? std::move(*bytes) : std::vector<unsigned char>(), sought};
    }

    bool refersTo(const std::string& id) { return values().has(id); }

    void mendIds() {
        std::map<std::string, RepairLink*> known;
        for (RepairLink& link : links_) {
            if (link.isGone)
                continue;
            number_ = std::max(number_, numberOf(link.id));
            RepairLink*& first = known[link.id];
            if (first == nullptr)
                first = &link;
        }
        for (RepairLink& link : links_) {
            const RepairLink* first = known[link.id];
            if (link.isGone || (first == &link && isId(link.id)))
                continue;
            if (first != &link && link.isSameBut(*first))
                mendEqual(link);
            else
                mendId(link);
        }
    }

    void mendEqual(RepairLink& link) {
        RepairStep step = stepFor(RuleId::RelationshipId, link, "Id",
                                  "Id " + inQuotes(std::string_view(link.id)) + " is that of an equal relationship");
        step.change = "deletes one of the relationships";
        if (apply(std::move(step), link))
            remove(link);
    }

    void mendId(RepairLink& link) {
        if (!work_.wants(RuleId::RelationshipId))
            return;
        const std::string quoted = inQuotes(std::string_view(link.id));
        RepairStep step = stepFor(RuleId::RelationshipId, link, "Id",
                                  "Id " + quoted + (isId(link.id) ? " is not unique" : " is not an Id"));
        const std::string id = nextId();
        step.change = "changes the Id to " + inQuotes(std::string_view(id));
        if (link.id.empty())
            step.why = "";
        else if (!values().getProblem().empty())
            step.why = values().getProblem();
        else if (refersTo(link.id))
            step.why = "the source refers to " + quoted;
        if (apply(std::move(step), link))
            set(link, "Id", &RepairLink::id, id);
    }

    static std::uint64_t numberOf(const std::string& id) {
        constexpr std::size_t longest = 15;
        const std::size_t begin = id.find_last_not_of("0123456789") + 1; // npos + 1 is the start
        return begin < id.size() && id.size() - begin <= longest ? std::stoull(id.substr(begin)) : 0;
    }

    /// An Id that neither the relationships nor the source have.
    std::string nextId() {
        std::string id;
        do {
            id = "rId" + std::to_string(++number_);
        } while (refersTo(id));
        return id;
    }

    void mendCoreProperties() {
        const bool hasStandard = std::any_of(links_.begin(), links_.end(), [](const RepairLink& each) {
            return !each.isGone && each.type == standardCoreType();
        });
        std::size_t others = 0;
        for (const RepairLink& link : links_)
            others += !link.isGone && isCorePropertiesTypeName(link.type) && link.type != standardCoreType();
        for (RepairLink& link : links_) {
            if (link.isGone || !isCorePropertiesTypeName(link.type))
                continue;
            if (RepairItem* item = link.isExternal ? nullptr : targets_.find(link.target))
                work_.coreProperties.push_back(item);
            if (link.type != standardCoreType())
                mendCoreType(link, hasStandard || others > 1);
        }
    }

    void mendCoreType(RepairLink& link, bool isOneOfSeveral) {
        RepairStep step = stepFor(RuleId::CorePropertiesTypeName, link, "Type",
                                  "Type " + inQuotes(std::string_view(link.type)) + " is not that of the standard");
        step.change = "changes the Type to " + inQuotes(std::string_view(standardCoreType()));
        if (isOneOfSeveral)
            step.why = "a package has one relationship to core properties, and this one has several";
        if (apply(std::move(step), link))
            set(link, "Type", &RepairLink::type, standardCoreType());
    }

    RepairWork& work_;
    RepairItem& item_;
    RepairDocument& document_;
    std::u16string source_;
    RepairTargets targets_;
    std::vector<RepairLink> links_;
    std::unique_ptr<AttributeValues> values_;
    std::uint64_t number_ = 0;
};

bool isRead(const RepairItem& item) {
    return !item.isDeleted && !item.isAmbiguous && !item.isPiece() &&
           detail::isRelationshipsPartName(item.getPartName());
}

} // namespace

bool isRelationships(const RepairDocument& document) {
    return document.hasRoot(RELATIONSHIPS_NAMESPACE, "Relationships");
}

bool hasWholeRelationships(RepairWork& work, const RepairItem& part) {
    RepairItem* item = work.getSnapshot().find(detail::getRelationshipsPartName(part.getPartName()));
    if (item == nullptr || item->isDeleted)
        return true;
    const RepairDocument* document = work.getSnapshot().read(*item);
    if (document == nullptr)
        return false;
    const RepairDocument mended(document->toBytes(), work.getSnapshot().getLimits());
    const auto& children = mended.getPieces().children;
    return isRelationships(mended) && std::all_of(children.begin(), children.end(), [&](const detail::XmlChild& child) {
               return isWholeRelationship(mended, child);
           });
}

namespace {

/// Calls an action with each relationships part that can be taken to pieces.
template <class Action>
void forEachDocument(RepairWork& work, Action action) {
    for (const auto& item : work.getSnapshot().getItems())
        if (isRead(*item))
            if (RepairDocument* document = work.getSnapshot().read(*item); document && isRelationships(*document))
                action(*item, *document);
}

/// Whether a part has relationships of the strict form.
bool isStrict(RepairWork& work, const RepairItem& part) {
    RepairItem* item = work.getSnapshot().find(detail::getRelationshipsPartName(part.getPartName()));
    const RepairDocument* document = item != nullptr && isRead(*item) ? work.getSnapshot().read(*item) : nullptr;
    if (document == nullptr)
        return false;
    const auto& children = document->getPieces().children;
    return std::any_of(children.begin(), children.end(), [&](const detail::XmlChild& child) {
        const auto tag = detail::readXmlTag(document->getPieces().textOf(child));
        return attributeOf(tag, "Type").compare(0, STRICT_TYPES.size(), STRICT_TYPES) == 0;
    });
}

std::string relationshipText(int number, const std::string& type, const RepairItem& item) {
    return "<Relationship Id=\"rId" + std::to_string(number) + "\" Type=\"" + type + "\" Target=\"" +
           escapedValue(toText(item.getPartName()).substr(1)) + "\"/>";
}

/// The parts of a content type by which a package relates them.
struct RelatedParts {
    std::vector<const RepairItem*> main;
    std::vector<const RepairItem*> core;
    std::string mainType;

    explicit RelatedParts(RepairWork& work) {
        const auto coreType = PackageHelper::getCorePropertiesContentType().toString();
        for (const auto& item : work.getSnapshot().getItems()) {
            if (item->isDeleted || item->isAmbiguous || item->getPartName().empty())
                continue;
            const auto type = work.getTypes().find(item->getPartName());
            const char* const related = type ? mainRelationshipTypeOf(*type) : nullptr;
            if (type && isSame(toString(*type, false), coreType))
                core.push_back(item.get());
            if (related == nullptr)
                continue;
            main.push_back(item.get());
            mainType = related;
        }
    }
};

bool hasPackageRelationships(RepairWork& work) {
    const auto& items = work.getSnapshot().getItems();
    return std::any_of(items.begin(), items.end(), [](const auto& each) {
        return !each->isDeleted && isSame(each->getPartName(), u"/_rels/.rels");
    });
}

} // namespace

void mendPackageRelationships(RepairWork& work) {
    const RelatedParts parts(work);
    if (hasPackageRelationships(work) || parts.main.size() != 1)
        return;
    RepairStep step{{RuleId::NoPackageRelationships, {}, "no package relationships: no item _rels/.rels"}};
    step.change = "adds /_rels/.rels with a relationship to " + inQuotes(parts.main.front()->getPartName());
    step.loss = "nothing that is there; what else the package had relationships to is not known";
    if (!work.add(std::move(step)))
        return;
    const std::string type = isStrict(work, *parts.main.front()) ? STRICT : parts.mainType;
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n<Relationships xmlns=\"" +
                       std::string(RELATIONSHIPS_NAMESPACE) + "\">" + relationshipText(1, type, *parts.main.front());
    if (parts.core.size() == 1)
        text += relationshipText(2, standardCoreType(), *parts.core.front());
    work.getSnapshot().create("_rels/.rels", text + "</Relationships>");
}

void mendRelationships(RepairWork& work) {
    forEachDocument(
        work, [&](RepairItem& item, RepairDocument& document) { LinksMender(work, item, document).run(); });
}

} // namespace opc::lint
