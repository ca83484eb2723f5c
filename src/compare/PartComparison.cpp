// SPDX-License-Identifier: Apache-2.0
#include "compare/PartComparison.hpp"

#include <opc/compare/PrettyXml.hpp>
#include <opc/core/Strings.hpp>

#include "compare/LineDifference.hpp"
#include "compare/XmlReading.hpp"
#include "model/ItemBytes.hpp"

#include <algorithm>
#include <array>
#include <optional>

namespace opc::compare {

namespace {

/// Ends the printing of a part with too many lines.
struct TooManyLines {};

bool hasXmlMediaType(const model::ContentType& type) {
    const std::u16string subtype = toLowerASCIIString(type.getSubType());
    return subtype == u"xml" || subtype.ends_with(u"+xml");
}

/// The Ids that mean something else in the other package, or nothing.
IdTargets movedIds(const IdTargets& of, const IdTargets& other) {
    IdTargets moved;
    for (const auto& [id, meaning] : of)
        if (const auto found = other.find(id); found == other.end() || found->second != meaning)
            moved.emplace(id, meaning);
    return moved;
}

/// Whether the same relationships have other Ids. Otherwise relationships were added or removed, which is reported.
bool isRenumbered(const IdTargets& before, const IdTargets& after) {
    std::vector<std::string> meanings[2];
    for (const auto& [id, meaning] : before)
        meanings[0].push_back(meaning);
    for (const auto& [id, meaning] : after)
        meanings[1].push_back(meaning);
    for (auto& each : meanings)
        std::sort(each.begin(), each.end());
    return meanings[0] == meanings[1];
}

/// The last line of the meaning of a relationship.
std::string_view targetOf(std::string_view meaning) {
    return meaning.substr(meaning.rfind('\n') + 1);
}

/// What became of the Ids that mean something else.
std::string movedText(const IdTargets& before, const IdTargets& after) {
    std::string text;
    std::size_t count = 0;
    for (const auto& [id, meaning] : before) {
        if (++count > 3)
            continue;
        const auto found = after.find(id);
        text.append(text.empty() ? "" : ", ").append(id);
        if (found == after.end())
            text.append(" led to ").append(targetOf(meaning)).append(" and leads nowhere");
        else if (targetOf(meaning) == targetOf(found->second))
            text += " is another relationship";
        else
            text.append(" led to ").append(targetOf(meaning)).append(" and leads to ").append(targetOf(found->second));
    }
    if (text.empty() && !after.empty())
        return after.begin()->first + " led nowhere and leads to " + std::string(targetOf(after.begin()->second));
    return count > 3 ? text + " and " + std::to_string(count - 3) + " more" : text;
}

/// Reads two streams at the same time.
class BytePair {
public:
    BytePair(InputStream& before, InputStream& after) : before_(before), after_(after) {
        before_.open();
        after_.open();
    }
    ~BytePair() {
        for (InputStream* each : {&before_, &after_})
            try {
                each->close();
            } catch (...) { // NOLINT(bugprone-empty-catch): what was read is known
            }
    }
    BytePair(const BytePair&) = delete;
    BytePair& operator=(const BytePair&) = delete;

    /// The offset of the first byte that differs, or that only one has; nothing when there is none up to a bound.
    std::optional<std::uint64_t> findDifference(std::uint64_t bound) {
        for (std::uint64_t offset = 0; offset < bound;) {
            const std::size_t old = fill(before_, blockBefore_);
            const std::size_t now = fill(after_, blockAfter_);
            const auto end = blockBefore_.begin() + static_cast<std::ptrdiff_t>(std::min(old, now));
            const auto differs = std::mismatch(blockBefore_.begin(), end, blockAfter_.begin()).first;
            offset += static_cast<std::uint64_t>(differs - blockBefore_.begin());
            if (differs != end || old != now)
                return offset;
            if (old == 0)
                break;
        }
        return std::nullopt;
    }

private:
    using Block = std::array<unsigned char, 32 * 1024>;

    static std::size_t fill(InputStream& stream, Block& block) {
        std::size_t size = 0;
        while (size < block.size()) {
            const unsigned long count = stream.read(block.data() + size, block.size() - size);
            if (count == 0)
                break;
            size += count;
        }
        return size;
    }

    InputStream& before_;
    InputStream& after_;
    Block blockBefore_;
    Block blockAfter_;
};

} // namespace

PartComparison::PartComparison(ComparedParts& before, ComparedParts& after, const Renames& renames,
                               const CompareOptions& options)
    : before_(before), after_(after), renames_(renames), options_(options) {}

bool PartComparison::isXml(const model::Part& part) {
    if (hasXmlMediaType(part.getContentType()))
        return true;
    std::string start;
    model::readItem(*part.getInputStream(), [&](const unsigned char* data, std::size_t size) {
        start.append(data, data + std::min<std::size_t>(size, 16));
        return start.size() < 16;
    });
    start.erase(std::remove(start.begin(), start.end(), '\0'), start.end()); // as in UTF-16
    const std::size_t mark = start.find('<');
    return mark <= 3 && start.compare(mark, 5, "<?xml") == 0;
}

bool PartComparison::compare(const model::Part& before, const model::Part& after, PartDifference& difference) {
    difference.differsInType = before.getContentType() != after.getContentType();
    const bool isEqual = before_.digestOf(before) == after_.digestOf(after);
    takeIds(before, after);
    if (isEqual && movedIds(idsBefore_, idsAfter_).empty() && movedIds(idsAfter_, idsBefore_).empty())
        return difference.differsInType;
    if (isXml(before) && isXml(after)) {
        if (!comparesXml(before, after, isEqual, difference))
            return difference.differsInType;
    } else if (!isEqual) {
        difference.content = ContentDifference::Bytes;
    } else if (options_.ignoresIds || !isRenumbered(idsBefore_, idsAfter_)) {
        return difference.differsInType;
    } else {
        difference.reason = movedText(idsBefore_, idsAfter_);
    }
    if (difference.content == ContentDifference::Bytes)
        compareBytes(before, after, difference);
    return true;
}

void PartComparison::takeIds(const model::Part& before, const model::Part& after) {
    idsBefore_ = idTargetsOf(before, renames_);
    idsAfter_ = idTargetsOf(after, {});
    if (options_.ignoresIds)
        return;
    IdTargets moved = movedIds(idsBefore_, idsAfter_);
    idsAfter_ = movedIds(idsAfter_, idsBefore_);
    idsBefore_ = std::move(moved);
}

bool PartComparison::differsLoosely(const model::Part& before, const model::Part& after) {
    if (before_.digestOf(before) == after_.digestOf(after))
        return false;
    const IdentityOptions how{before_.getPackage().getLimits(), false, true, true};
    std::string problem;
    const auto old = identifyXml(*before.getInputStream(), {}, how, problem);
    return !old || old != identifyXml(*after.getInputStream(), {}, how, problem);
}

bool PartComparison::comparesXml(const model::Part& before, const model::Part& after, bool isEqual,
                                 PartDifference& difference) {
    const IdentityOptions how{before_.getPackage().getLimits(), options_.ignoresIds, options_.ignoresOrder, false};
    std::optional<std::vector<unsigned char>> old;
    const std::uint64_t most = how.limits.xmlSize;
    if (before_.stateOf(before).size > most || after_.stateOf(after).size > most)
        difference.reason = "more than " + std::to_string(most) + " bytes"; // parsing would get as far as that
    else
        old = identifyXml(*before.getInputStream(), idsBefore_, how, difference.reason);
    const auto now = old ? identifyXml(*after.getInputStream(), idsAfter_, how, difference.reason) : old;
    if (!old || !now) {
        difference.content = isEqual ? ContentDifference::None : ContentDifference::Bytes;
        difference.reason = isEqual ? movedText(idsBefore_, idsAfter_) : "not read as XML: " + difference.reason;
        return !isEqual || (!options_.ignoresIds && isRenumbered(idsBefore_, idsAfter_));
    }
    if (*old == *now)
        return false;
    difference.content = ContentDifference::Xml;
    showLines(before, after, difference);
    return true;
}

void PartComparison::showLines(const model::Part& before, const model::Part& after, PartDifference& difference) {
    std::vector<std::string> old;
    std::vector<std::string> now;
    if (!readLines(before, idsBefore_, old) || !readLines(after, idsAfter_, now)) {
        difference.content = ContentDifference::TooLarge;
        difference.reason = "more than " + std::to_string(options_.linesSize) + " bytes as lines";
        return;
    }
    compareLines(old, now, options_, difference);
    if (!difference.hunks.empty())
        return;
    const std::string moved = options_.ignoresIds ? "" : movedText(idsBefore_, idsAfter_);
    difference.reason = moved.empty() ? "white space that is not shown" : moved;
}

bool PartComparison::readLines(const model::Part& part, const IdTargets& ids, std::vector<std::string>& lines) const {
    PrettyOptions how{part.getPackage().getLimits(), false, {}};
    if (options_.ignoresIds)
        how.attribute = [&](std::string_view uri, std::string_view name, std::string_view value) {
            const auto found = isRelationshipId(uri, name) ? ids.find(value) : ids.end();
            return found == ids.end() ? std::string() : std::string(targetOf(found->second));
        };
    std::uint64_t size = 0;
    try {
        printPretty(
            *part.getInputStream(),
            [&](std::string_view line) {
                size += line.size() + 1;
                if (size > options_.linesSize)
                    throw TooManyLines();
                lines.emplace_back(line);
            },
            how);
    } catch (const TooManyLines&) {
        return false;
    }
    return true;
}

void PartComparison::compareBytes(const model::Part& before, const model::Part& after,
                                  PartDifference& difference) const {
    difference.firstByte =
        BytePair(*before.getInputStream(), *after.getInputStream()).findDifference(options_.bytesSize);
    if (!difference.firstByte)
        difference.reason += (difference.reason.empty() ? "" : "; ") + std::string("equal in the first ") +
                             std::to_string(options_.bytesSize) + " bytes";
}

} // namespace opc::compare
