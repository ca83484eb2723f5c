// SPDX-License-Identifier: Apache-2.0
#include "opcraft/UnseenReferrers.hpp"

#include "opcraft/Text.hpp"

#include <opc/core/FoldedNames.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/model/PhysicalInputStream.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <set>

namespace opcraft {

namespace {

using opc::model::XercesHelper;

/// The folded names of what the entries of a relationships part lead to.
/// @throws opc::Exception when it cannot be read.
std::set<std::string> foldedTargets(opc::interfaces::IPhysicalInputStream& item, std::u16string_view source,
                                    const opc::Limits& limits) {
    const opc::model::XercesGuard guard;
    const opc::model::ParserHandle parser = XercesHelper::createParser(limits);
    opc::model::PhysicalInputStream stream(&item);
    stream.open();
    const xercesc::DOMDocument* document = XercesHelper::readDocumentFromStream(*parser, stream, false, u"", u"");
    std::set<std::string> targets;
    for (const auto* entry = document->getDocumentElement()->getFirstElementChild(); entry != nullptr;
         entry = entry->getNextElementSibling())
        if (std::u16string_view(entry->getAttribute(u"TargetMode")) != u"External")
            targets.merge(opc::detail::foldTarget(source, entry->getAttribute(u"Target")));
    return targets;
}

} // namespace

std::vector<std::string> findUnseenReferrers(const std::string& name, OpenPackage& package) {
    std::vector<std::string> clauses;
    const auto addUnread = [&](const std::string& what) {
        clauses.push_back(what + " cannot be read, and may point at it");
    };
    package.forEachSource([&](const opc::model::RelationshipSource& source) {
        if (source.hasUnreadableRelationships() && toUtf8(source.getSourceURI().toString()) != name)
            addUnread("the relationships of " + (opc::model::PartName::isPackageRootUri(source.getSourceURI())
                                                     ? "the package"
                                                     : toUtf8(source.getSourceURI().toString())));
    });
    const std::string folded = opc::detail::foldName(name);
    const auto items = package.getItems();
    for (std::size_t i = 0; i < items.size(); ++i) {
        const std::u16string path = opc::fromUTF8("/" + opc::detail::foldName(items[i].name));
        if (items[i].kind != opc::storage::ZipItemKind::Other || items[i].name == name ||
            !opc::detail::isRelationshipsPartName(path))
            continue;
        const std::string item = "the item \"" + items[i].name + '"';
        try {
            const std::u16string source = opc::detail::getSourcePartName(path);
            auto& stream = *package.getInput().getStore().getItemInputStreamAt(i);
            if (foldedTargets(stream, source, package.getModel().getLimits()).contains(folded))
                clauses.push_back(item + ", which holds relationships and is not a part, points at it");
        } catch (const opc::Exception&) {
            addUnread(item);
        }
    }
    return clauses;
}

} // namespace opcraft
