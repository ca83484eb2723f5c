// SPDX-License-Identifier: Apache-2.0
#include "storage/directory/ExtractionPlan.hpp"

#include "storage/Failure.hpp"
#include "storage/directory/FolderPaths.hpp"

#include <climits>

#include <algorithm>

namespace opc::storage {

namespace {

using Plan = std::vector<PlannedItem>;

std::string explainSegment(std::string_view segment) {
    if (segment.empty())
        return "an empty segment in the name, which is no name of a file";
    if (segment == "." || segment == "..")
        return "the segment " + inQuotes(segment) + " in the name, which would lead elsewhere";
    if (segment.size() > NAME_MAX)
        return "a segment of " + std::to_string(segment.size()) + " bytes in the name, more than a file name has";
    return {};
}

/// Why no file can have the name; empty when one can.
std::string explainName(std::string_view name) {
    if (name.empty())
        return "an empty name";
    if (name.size() >= PATH_MAX)
        return "a name of " + std::to_string(name.size()) + " bytes, more than the path of a file has";
    if (name.find('\0') != name.npos)
        return "a character U+0000 in the name";
    if (name.front() == '/')
        return "a slash at the start of the name, which would lead elsewhere";
    if (name.back() == '/')
        name.remove_suffix(1);
    for (std::size_t slash = name.find('/');; slash = name.find('/')) {
        std::string reason = explainSegment(name.substr(0, slash));
        if (!reason.empty() || slash == name.npos)
            return reason;
        name.remove_prefix(slash + 1);
    }
}

/// Of several items with one name, the only one that is not an item beside the parts.
/// @return the end when there is none, or more than one.
Plan::iterator findChosen(Plan::iterator first, Plan::iterator end, const std::vector<ZipItem>& items) {
    const auto isPart = [&](const PlannedItem& each) { return items[each.position].kind != ZipItemKind::Other; };
    const auto found = std::find_if(first, end, isPart);
    return found == end || std::find_if(found + 1, end, isPart) == end ? found : end;
}

void leaveOutDuplicates(Plan& plan, const std::vector<ZipItem>& items) {
    for (auto first = plan.begin(); first != plan.end();) {
        const auto end = std::find_if(first, plan.end(), [&](const auto& each) { return each.path != first->path; });
        const auto chosen = end - first == 1 ? first : findChosen(first, end, items);
        for (auto each = first; each != end; ++each)
            if (each != chosen && each->reason.empty()) {
                each->reason = "duplicate item";
                each->code = Errc::file_exists;
            }
        first = end;
    }
}

/// A name stands before all those below it, which stand together; so each folder is looked for once.
void leaveOutBelowFiles(Plan& plan) {
    std::vector<std::string_view> files; // sorted, as the plan is
    for (const PlannedItem& each : plan)
        if (each.reason.empty() && each.path.back() != '/')
            files.push_back(each.path);
    std::string_view before;
    std::size_t blocked = 0; // the size of the name of a file that `before` is below
    for (PlannedItem& each : plan) {
        if (!each.reason.empty())
            continue;
        const std::size_t start = commonFolders(before, each.path);
        blocked = start < blocked ? 0 : blocked;
        for (std::size_t slash = each.path.find('/', start); blocked == 0 && slash != each.path.npos;
             slash = each.path.find('/', slash + 1))
            if (std::ranges::binary_search(files, each.path.substr(0, slash)))
                blocked = slash;
        before = each.path;
        if (blocked > 0) {
            each.reason = "below the item " + inQuotes(each.path.substr(0, blocked)) + ", which is a file";
            each.code = Errc::file_exists;
        }
    }
}

} // namespace

std::vector<PlannedItem> planExtraction(const std::vector<ZipItem>& items, const std::vector<std::size_t>& positions) {
    Plan plan;
    plan.reserve(positions.size());
    for (const std::size_t position : positions) {
        const ZipItem& item = items[position];
        plan.push_back({position, item.name, explainName(item.name)});
        if (plan.back().reason.empty() && item.name.back() == '/' && item.size > 0)
            plan.back().reason = "an item with the name of a folder, and content";
    }
    std::ranges::stable_sort(plan, {}, &PlannedItem::path);
    leaveOutDuplicates(plan, items);
    leaveOutBelowFiles(plan);
    return plan;
}

} // namespace opc::storage
