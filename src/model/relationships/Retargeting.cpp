// SPDX-License-Identifier: Apache-2.0
#include "model/relationships/Retargeting.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/FoldedNames.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>

namespace opc::model {

namespace {

/// Not by way of more ".." than there are folders, which readers treat in different ways.
bool leadsTo(const URI& source, const URI& reference, const std::u16string& path) {
    const URI target = resolve(source, reference);
    if (target.hasAuthority() || target.getPath() != path)
        return false;
    const std::u16string folder = u"/folder";
    return reference.hasAbsolutePath() || resolve(folder + source.getPath(), reference).getPath() == folder + path;
}

/// The last segment, which leads from a source to itself.
std::u16string ownName(const std::u16string& path) {
    const std::u16string name = path.substr(path.rfind(u'/') + 1);
    return (name.find(u':') == std::u16string::npos ? u"" : u"./") + name;
}

/// Also by a spelling that no part has, such as with an escaped letter.
bool leadsToSource(const Relationship& relationship, const std::u16string& path) {
    const std::u16string source = relationship.getSourceURI().getPath();
    if (caselessCompare(path, source) == 0)
        return true;
    return !detail::isPartName(path) &&
           detail::foldTarget(source, relationship.getTarget()).count(detail::foldName(detail::toUTF8String(source))) !=
               0;
}

} // namespace

URI retarget(const URI& written, const URI& source, const std::u16string& path) {
    const std::u16string text = written.toString();
    const std::size_t end = std::min(text.find_first_of(u"?#"), text.size());
    if (end == 0 || leadsTo(source, written, path))
        return written;
    const std::u16string rest = text.substr(end);
    if (text.front() == u'/')
        return path + rest;
    try {
        const URI relative =
            (source.getPath() == path ? URI(ownName(path)) : relativize(source, path)).toString() + rest;
        if (leadsTo(source, relative, path))
            return relative;
    } catch (const Exception&) { // the absolute reference always leads there
    }
    return path + rest;
}

Relationship withSource(const Relationship& relationship, const URI& source) {
    const std::u16string id = relationship.getID();
    const std::u16string type = relationship.getType();
    const std::u16string target = relationship.getTarget();
    if (relationship.getTargetMode() == TargetMode::External)
        return {id, type, source, target};
    const URI written(target);
    if (written.hasScheme() || written.hasAuthority())
        return {id, type, source, written};
    const URI former = resolve(relationship.getSourceURI(), written);
    const bool isSource = leadsToSource(relationship, former.getPath());
    return {id, type, source, retarget(written, source, isSource ? source.getPath() : former.getPath())};
}

} // namespace opc::model
