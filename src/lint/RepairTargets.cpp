// SPDX-License-Identifier: Apache-2.0
#include "lint/RepairTargets.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include "lint/Examination.hpp"

#include <algorithm>

namespace opc::lint {

namespace {

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(BLANKS);
    return begin == text.npos ? std::string() : text.substr(begin, text.find_last_not_of(BLANKS) + 1 - begin);
}

std::size_t endOfPath(const std::string& target) {
    return std::min(target.find_first_of("?#"), target.size());
}

/// The target with slashes for backslashes, and single ones, in its path.
std::string withPlainPath(const std::string& target) {
    const std::size_t end = endOfPath(target);
    const bool isAbsolute = target.find_first_of("/\\") == 0;
    return (isAbsolute ? "/" : "") + plainItemName(target.substr(0, end)) + target.substr(end);
}

/// Where the segments begin that follow the last "." or "..".
std::size_t beginOfNames(const std::string& path) {
    std::size_t begin = 0;
    for (std::size_t at = 0; at < path.size();) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        const std::string segment = path.substr(at, end - at);
        at = end + 1;
        if (segment == "." || segment == "..")
            begin = std::min(at, path.size());
    }
    return begin;
}

} // namespace

RepairTargets::RepairTargets(const RepairSnapshot& snapshot, const std::u16string& source)
    : snapshot_(snapshot), source_(source) {}

bool RepairTargets::isAccepted(const std::string& target, bool isExternal) const {
    try {
        const char16_t* judged = nullptr;
        rules_.read({u"x", u"x", toString(target), isExternal}, source_, judged);
        return true;
    } catch (const Exception&) {
        return false;
    }
}

std::optional<std::string> RepairTargets::resolve(const std::string& target) const {
    try {
        const model::URI uri = model::resolve(source_, model::URI(toString(target)));
        if (!uri.hasScheme() && !uri.hasAuthority())
            return toText(uri.getPath());
    } catch (const Exception&) {
    }
    return std::nullopt;
}

RepairItem* RepairTargets::find(const std::string& target) const {
    const auto path = resolve(target);
    return path ? snapshot_.find(toString(*path)) : nullptr;
}

std::string RepairTargets::inCaseOf(const std::string& target, const RepairItem& item) const {
    const std::string name = toText(item.getPartName());
    if (resolve(target) == name)
        return target;
    const std::size_t end = endOfPath(target);
    const std::string path = target.substr(0, end);
    const std::size_t begin = beginOfNames(path);
    if (name.size() + begin >= path.size()) {
        const std::string written =
            path.substr(0, begin) + name.substr(name.size() + begin - path.size()) + target.substr(end);
        if (resolve(written) == name)
            return written;
    }
    return name + target.substr(end);
}

std::optional<std::string> RepairTargets::findReachable(const std::string& target) const {
    for (const std::string& each : {target, escapedURI(trimmed(target)), escapedURI(withPlainPath(trimmed(target)))})
        if (const RepairItem* item = find(each))
            return inCaseOf(each, *item);
    return std::nullopt;
}

} // namespace opc::lint
