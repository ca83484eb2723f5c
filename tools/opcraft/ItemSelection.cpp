// SPDX-License-Identifier: Apache-2.0
#include "opcraft/ItemSelection.hpp"

#include "opcraft/Names.hpp"
#include "opcraft/Text.hpp"

#include <fnmatch.h>

#include <algorithm>

namespace opcraft {

namespace {

using Items = std::vector<opc::storage::ZipItem>;
using Positions = std::vector<std::size_t>;

Failure ambiguous(const InputOptions& options, const Items& items, const Positions& found, const std::string& advice) {
    std::vector<std::string> names;
    for (const std::size_t each : found)
        names.push_back(items[each].name);
    return {ExitCode::NotProcessed, options.file, options.part,
            "this may mean any of " + listText(names, names.size()) + advice};
}

/// @param isSound whether no two items have the same name.
/// @return the position of the item.
std::size_t findItem(const InputOptions& options, const Items& items, bool isSound) {
    const auto found = findItems(items, options.part);
    if (found.empty())
        throw Failure(ExitCode::NotProcessed, options.file, options.part,
                      "no such item" + suggestItem(items, options.part));
    const auto same = isSound ? found : findSameNames(items, found.front());
    if (same.size() == 1 && found.size() == 1)
        return found.front();
    if (isSound || !std::includes(same.begin(), same.end(), found.begin(), found.end()))
        throw ambiguous(options, items, found, "");
    if (options.take == Take::Neither)
        throw ambiguous(options, items, same, "; --take first or --take last reads one of them");
    return options.take == Take::First ? same.front() : same.back();
}

/// The positions of the items that a pattern matches, with or without a leading slash, in the order of the file.
Positions matchItems(const Items& items, const std::string& pattern) {
    Positions found;
    const bool hasSlash = pattern.front() == '/';
    for (std::size_t i = 0; i < items.size(); ++i)
        if (::fnmatch(pattern.c_str(), ((hasSlash ? "/" : "") + items[i].name).c_str(), 0) == 0)
            found.push_back(i);
    return found;
}

/// @return nothing for an argument that is not a pattern, or matches nothing.
Positions matchPattern(const InputOptions& options, const Items& items, Matched matched) {
    if (options.part.find_first_of("*?[") == std::string::npos || !findItems(items, options.part).empty())
        return {};
    Positions found = matchItems(items, options.part);
    const bool isMatched = !found.empty();
    if (matched == Matched::Parts)
        std::erase_if(found, [&](std::size_t i) { return items[i].kind == opc::storage::ZipItemKind::Other; });
    if (isMatched && found.empty())
        throw Failure(ExitCode::NotProcessed, options.file, options.part,
                      "this matches only items that are not parts; --other-items takes them");
    return found;
}

} // namespace

void openItems(PackageInput& input, const InputOptions& options, FindingList& findings) {
    try {
        if (options.tolerant)
            input.getStore().openTolerantly(opc::interfaces::OpenMode::ReadOnly, findings);
        else
            input.getStore().open(opc::interfaces::OpenMode::ReadOnly);
    } catch (const opc::Exception& e) {
        throw openFailure(input, options, e);
    }
}

Positions selectItems(const InputOptions& options, const std::vector<std::string>& arguments, const Items& items,
                      const FindingList& findings, Matched matched) {
    Positions positions;
    for (const std::string& argument : arguments) {
        InputOptions one = options;
        one.part = argument;
        Positions found = matchPattern(one, items, matched);
        if (found.empty())
            found.push_back(findItem(one, items, findings.getAll().empty()));
        positions.insert(positions.end(), found.begin(), found.end());
    }
    return positions;
}

} // namespace opcraft
