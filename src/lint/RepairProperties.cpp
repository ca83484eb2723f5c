// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>

#include "lint/Examination.hpp"
#include "lint/RepairWork.hpp"
#include "model/coreproperties/CorePropertiesSerializer.hpp"
#include "model/coreproperties/CorePropertiesVocabulary.hpp"

#include <algorithm>
#include <map>
#include <utility>

namespace opc::lint {

namespace {

namespace vocabulary = model::coreproperties;

constexpr std::string_view DATE_TYPE = "dcterms:W3CDTF";

/// Reads core properties, and keeps what is found. What is unusual is bounded in all that is read.
class PropertiesReading final : public FindingSink {
public:
    explicit PropertiesReading(const Limits& limits) : limits_(limits) {}

    std::vector<Finding> read(const std::vector<unsigned char>& bytes, const std::string& item) {
        findings_.clear();
        try {
            model::CoreProperties ignored;
            model::CorePropertiesSerializer(limits_).load(bytes, ignored, reading_, item);
        } catch (const model::InvalidPartContent&) {
            findings_.clear(); // beyond a limit
        }
        return std::move(findings_);
    }

private:
    void found(const Finding& finding) override { findings_.push_back(finding); }

    const Limits& limits_;
    std::vector<Finding> findings_{};
    const model::Reading reading_{this, false};
};

/// The elements of a core properties part.
class PropertiesMender {
public:
    PropertiesMender(RepairWork& work, PropertiesReading& reading, RepairItem& item, RepairDocument& document)
        : work_(work), reading_(reading), item_(item), document_(document), pieces_(document.getPieces()) {
        for (const detail::XmlChild& child : pieces_.children)
            tags_.push_back(detail::readXmlTag(pieces_.textOf(child)));
    }

    void run() {
        const std::vector<Finding> findings = read(document_.getOriginal());
        mendDuplicates();
        for (const Finding& finding : findings)
            if (const std::size_t index = indexOf(finding.place); index < tags_.size() && gone_.count(index) == 0)
                mend(finding, index);
    }

private:
    std::vector<Finding> read(const std::vector<unsigned char>& bytes) const {
        return reading_.read(bytes, item_.getPlace());
    }

    /// The element that a place is in: the last one that begins before it.
    std::size_t indexOf(const ErrorPlace& place) const {
        const auto behind = std::find_if(pieces_.children.begin(), pieces_.children.end(), [&](const auto& each) {
            return std::pair(each.begin.line, each.begin.column) >= std::pair(place.line, place.column);
        });
        return static_cast<std::size_t>(behind - pieces_.children.begin()) - 1; // a large number for none
    }

    std::string keyOf(std::size_t index) const {
        const detail::XmlTag& tag = tags_[index];
        return pieces_.namespaceOf(tag.name, tag, false) + ' ' + std::string(tag.localName());
    }

    bool isIn(const std::string& name, std::size_t index, bool isAttribute, const char16_t* namespaceURI) const {
        return pieces_.namespaceOf(name, tags_[index], isAttribute) == toASCIIString(namespaceURI);
    }

    RepairStep stepFor(const Finding& finding) const { return {finding}; }

    bool apply(RepairStep step) {
        if (!work_.add(std::move(step), isChosen_))
            return false;
        work_.changedParts.insert(toLowerASCIIString(item_.getPartName()));
        return true;
    }

    void remove(std::size_t index) {
        document_.remove(pieces_.children[index]);
        gone_.insert(index);
        --left_[keyOf(index)];
    }

    void mend(const Finding& finding, std::size_t index) {
        if (finding.rule == RuleId::PropertiesType)
            mendType(finding, index);
        else if (finding.rule == RuleId::PropertiesLanguage)
            removeAttribute(finding, index, "xml:lang", true);
        else if (finding.rule == RuleId::PropertiesRefinements || finding.rule == RuleId::PropertyValue)
            removeProperty(finding, index);
    }

    void removeProperty(const Finding& finding, std::size_t index) {
        if (counts_.at(keyOf(index)) > 1)
            return; // one of several, which is another step
        RepairStep step = stepFor(finding);
        step.change = "deletes the element " + tags_[index].name;
        step.loss = "the text of the element";
        step.deletes = true;
        if (apply(std::move(step)))
            remove(index);
    }

    void removeAttribute(const Finding& finding, std::size_t index, const std::string& name, bool deletes) {
        RepairStep step = stepFor(finding);
        step.change = "deletes the attribute " + name + " of " + tags_[index].name;
        step.loss = name + "=" + inQuotes(std::string_view(attributeOf(tags_[index], name)));
        step.deletes = deletes;
        if (apply(std::move(step)))
            document_.removeAttribute(pieces_.children[index], name);
    }

    /// The name of the attribute xsi:type, with the prefix that it has; empty for none.
    std::string typeAttributeOf(std::size_t index) const {
        for (const auto& [name, value] : tags_[index].attributes)
            if (name.size() > 5 && name.compare(name.size() - 5, 5, ":type") == 0 &&
                isIn(name, index, true, vocabulary::XSI))
                return name;
        return {};
    }

    bool isDate(std::size_t index) const {
        const std::string_view name = tags_[index].localName();
        return (name == "created" || name == "modified") && isIn(tags_[index].name, index, false, vocabulary::DCTERMS);
    }

    void mendType(const Finding& finding, std::size_t index) {
        const std::string name = typeAttributeOf(index);
        if (!isDate(index)) {
            if (!name.empty())
                removeAttribute(finding, index, name, false);
            return;
        }
        if (left_.at(keyOf(index)) > 1 || !isRightWithType(index)) {
            removeProperty(finding, index);
            return;
        }
        RepairStep step = stepFor(finding);
        step.change = "gives " + tags_[index].name + " xsi:type=\"" + std::string(DATE_TYPE) + '"';
        if (!canHaveType(index))
            step.why = "the prefixes dcterms and xsi have another meaning in the part";
        if (apply(std::move(step)))
            giveType(document_, pieces_.children[index], index);
    }

    bool canHaveType(std::size_t index) const {
        const bool isXsi = isIn("xsi:x", index, true, vocabulary::XSI);
        return isIn("dcterms:x", index, true, vocabulary::DCTERMS) &&
               (isXsi || !typeAttributeOf(index).empty() || pieces_.namespaceOf("xsi:x", tags_[index], true).empty());
    }

    /// @param child the element with this index, in a document.
    void giveType(RepairDocument& document, const detail::XmlChild& child, std::size_t index) const {
        const std::string name = typeAttributeOf(index);
        if (name.empty() && !isIn("xsi:x", index, true, vocabulary::XSI))
            document.setAttribute(child, "xmlns:xsi", toASCIIString(vocabulary::XSI));
        document.setAttribute(child, name.empty() ? "xsi:type" : name, DATE_TYPE);
    }

    /// False for a date with which something else is wrong, which its type would not mend.
    bool isRightWithType(std::size_t index) const {
        if (!canHaveType(index))
            return true; // it is not given one
        const std::string text = pieces_.rootWith(pieces_.children[index]);
        RepairDocument alone({text.begin(), text.end()}, work_.getOptions().limits);
        if (alone.getPieces().children.empty())
            return true;
        giveType(alone, alone.getPieces().children.front(), index);
        return read(alone.toBytes()).empty();
    }

    void mendDuplicates() {
        std::map<std::string, std::size_t> known;
        for (std::size_t i = 0; i < tags_.size(); ++i)
            ++counts_[keyOf(i)];
        left_ = counts_;
        for (std::size_t i = 0; i < tags_.size(); ++i) {
            const auto [first, isNew] = known.emplace(keyOf(i), i);
            if (!isNew && mendDuplicate(first->second, i))
                first->second = i;
        }
    }

    /// All that an element says but for xsi:type, which is the same for all elements of a name once it is mended.
    std::set<std::string> contentOf(std::size_t index) const {
        std::set<std::string> content{document_.contentOf(pieces_.children[index])};
        for (const auto& [name, value] : tags_[index].attributes)
            if (name != typeAttributeOf(index) && name.compare(0, 5, "xmlns") != 0)
                content.insert(name + '=' + value);
        return content;
    }

    /// @return whether the first one is gone.
    bool mendDuplicate(std::size_t first, std::size_t second) {
        const auto take = work_.getOptions().take;
        const bool isSame = contentOf(first) == contentOf(second);
        const std::size_t dropped = !isSame && take == Duplicate::Last ? first : second;
        RepairStep step{childFinding(RuleId::PropertyValue, item_.getPlace(), pieces_.children[dropped], tags_[dropped],
                                     "", tags_[dropped].name + " is not unique")};
        step.change = "deletes one of the elements " + tags_[dropped].name;
        if (!isSame) {
            step.loss = "the text of the element";
            step.deletes = true;
            if (!take)
                step.why = "which of the elements counts was not chosen";
        }
        isChosen_ = true;
        const bool isApplied = apply(std::move(step));
        isChosen_ = false;
        if (isApplied)
            remove(dropped);
        return isApplied && dropped == first;
    }

    RepairWork& work_;
    PropertiesReading& reading_;
    RepairItem& item_;
    RepairDocument& document_;
    const detail::XmlPieces& pieces_;
    std::vector<detail::XmlTag> tags_;
    std::map<std::string, std::size_t> counts_; ///< of elements with a name
    std::map<std::string, std::size_t> left_;   ///< the same without those that are deleted
    std::set<std::size_t> gone_;
    bool isChosen_ = false;
};

} // namespace

void mendCoreProperties(RepairWork& work) {
    std::set<const RepairItem*> done;
    PropertiesReading reading(work.getOptions().limits);
    for (RepairItem* item : work.coreProperties) {
        const auto type = work.getTypes().find(item->getPartName());
        if (!type || !isSame(toString(*type, false), model::PackageHelper::getCorePropertiesContentType().toString()) ||
            !done.insert(item).second)
            continue;
        RepairDocument* document = work.getSnapshot().read(*item);
        if (document != nullptr && document->hasRoot(toASCIIString(vocabulary::CP), "coreProperties"))
            PropertiesMender(work, reading, *item, *document).run();
    }
}

} // namespace opc::lint
