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

/// Whether the Ids that both have lead elsewhere.
bool differsInTargets(const IdTargets& before, const IdTargets& after) {
    return std::any_of(
        before.begin(), before.end(),
        [&](const auto& each) {
            const auto found = after.find(each.first);
            return found != after.end() && found->second != each.second;
        });
}

/// The last line of the meaning of a relationship.
std::string_view targetOf(std::string_view meaning) {
    return meaning.substr(meaning.rfind('\n') + 1);
}

/// The Ids that lead elsewhere, and where.
std::string movedIds(const IdTargets& before, const IdTargets& after) {
    std::string text;
    std::size_t count = 0;
    for (const auto& [id, meaning] : before) {
        const auto found = after.find(id);
        if (found == after.end() || found->second == meaning || ++count > 3)
            continue;
        text.append(text.empty() ? "" : ", ").append(id);
        if (targetOf(meaning) == targetOf(found->second))
            text += " is another relationship";
        else
            text.append(" led to ").append(targetOf(meaning)).append(" and leads to ").append(targetOf(found->second));
    }
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

bool PartComparison::compare(const model::Part& before, const model::Part& after, bool byValue,
                             PartDifference& difference) {
    difference.differsInType = before.getContentType() != after.getContentType();
    const bool isEqual = before_.digestOf(before) == after_.digestOf(after);
    idsBefore_ = idTargetsOf(before, renames_);
    idsAfter_ = idTargetsOf(after, {});
    if (byValue || (isEqual && !differsInTargets(idsBefore_, idsAfter_)))
        return difference.differsInType;
    if (isXml(before) && isXml(after)) {
        if (!comparesXml(before, after, difference))
            return difference.differsInType;
    } else if (isEqual) {
        return difference.differsInType;
    } else {
        difference.content = ContentDifference::Bytes;
    }
    if (difference.content == ContentDifference::Bytes)
        compareBytes(before, after, difference);
    return true;
}

bool PartComparison::comparesXml(const model::Part& before, const model::Part& after, PartDifference& difference) {
    const IdentityOptions how{before_.getPackage().getLimits(), options_.ignoresIds, options_.ignoresOrder};
    const auto old = identifyXml(*before.getInputStream(), idsBefore_, how, difference.reason);
    const auto now = old ? identifyXml(*after.getInputStream(), idsAfter_, how, difference.reason) : old;
    if (!old || !now) {
        difference.content = ContentDifference::Bytes;
        const bool isEqual = before_.digestOf(before) == after_.digestOf(after);
        difference.reason = isEqual ? "" : "not read as XML: " + difference.reason;
        return !isEqual;
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
    const std::string moved = movedIds(idsBefore_, idsAfter_);
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
