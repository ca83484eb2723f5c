// SPDX-License-Identifier: Apache-2.0
#include "opcraft/StoredProperties.hpp"

#include "opcraft/Failure.hpp"
#include "opcraft/PartBytes.hpp"
#include "opcraft/Targets.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/xml/XercesHelper.hpp>

namespace opcraft {

namespace {

using opc::model::PackageHelper;

/// Not much more than what may be read as XML.
std::vector<unsigned char> readBytes(const opc::model::Part& part) {
    std::vector<unsigned char> bytes;
    forEachBlock(part, [&](const unsigned char* data, std::size_t size) {
        if (bytes.size() <= opc::model::XercesHelper::MAX_XML_SIZE)
            bytes.insert(bytes.end(), data, data + size);
    });
    return bytes;
}

Failure leadsNowhere(const OpenPackage& package, const CorePropertiesEntry& entry) {
    return {ExitCode::NotProcessed, package.getName(), entry.target,
            "the core properties relationship \"" + entry.id + "\" leads here, and this is no part"};
}

} // namespace

std::vector<CorePropertiesEntry> findCoreProperties(OpenPackage& package) {
    std::vector<CorePropertiesEntry> entries;
    for (const std::u16string& type : PackageHelper::getCorePropertiesRelationshipTypes())
        for (const opc::model::Relationship& relationship : package.getModel().getRelationshipsByType(type)) {
            const auto part = findTarget(package, relationship);
            entries.push_back({toUtf8(relationship.getID()),
                               toUtf8(part ? part->getName().toString() : relationship.getTarget()), toUtf8(type), part,
                               type == PackageHelper::getCorePropertiesRelationshipType()});
        }
    return entries;
}

StoredProperties readProperties(OpenPackage& package) {
    StoredProperties stored;
    stored.entries = findCoreProperties(package);
    if (stored.entries.empty())
        return stored;
    const CorePropertiesEntry& first = stored.entries.front();
    if (!first.part)
        throw leadsNowhere(package, first);
    stored.part = first.target;
    try {
        stored.values = PackageHelper::getCoreProperties(package.getModel(), opc::toString(first.type));
        stored.unread = findUnread(readBytes(*first.part), stored.values);
    } catch (const opc::model::InvalidPartContent& e) {
        throw toFailure(e, package.getName(), stored.part);
    } catch (const opc::Exception& e) {
        throw readFailure(e, package.getName(), *first.part);
    }
    return stored;
}

} // namespace opcraft
