// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Findings.hpp"

#include "opcraft/Text.hpp"

#include <algorithm>

namespace opcraft {

std::string FindingList::reasonFor(const std::string& item) const {
    const auto found =
        std::find_if(all_.begin(), all_.end(), [&](const opc::Finding& each) { return each.place.item == item; });
    return found == all_.end() ? std::string() : found->message;
}

void FindingList::note(Console& console, const std::string& file) const {
    if (!all_.empty())
        console.note(file + ": read in spite of " + countText(all_.size(), "finding") + "; 'opcraft lint' explains " +
                     (all_.size() == 1 ? "it" : "them"));
}

} // namespace opcraft
