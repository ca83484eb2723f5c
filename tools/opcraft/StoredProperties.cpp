// SPDX-License-Identifier: Apache-2.0
#include "opcraft/StoredProperties.hpp"

#include "opcraft/Failure.hpp"
#include "opcraft/PartBytes.hpp"
#include "opcraft/Targets.hpp"
#include "opcraft/Text.hpp"

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

Failure leadsNowhere(const OpenPackage& package, const opc::model::Relationship& relationship) {
    return {ExitCode::NotProcessed, package.getName(), toUtf8(relationship.getTarget()),
            "the core properties relationship \"" + toUtf8(relationship.getID()) +
                "\" leads here, and this is no part"};
}

} // namespace

StoredProperties readProperties(OpenPackage& package) {
    StoredProperties stored;
    opc::model::Package& model = package.getModel();
    const auto relationships = model.getRelationshipsByType(PackageHelper::getCorePropertiesRelationshipType());
    if (relationships.empty())
        return stored;
    const auto part = findTarget(package, relationships.front());
    if (!part)
        throw leadsNowhere(package, relationships.front());
    stored.part = toUtf8(part->getName().toString());
    try {
        stored.values = PackageHelper::getCoreProperties(model);
        stored.unread = findUnread(readBytes(*part), stored.values);
    } catch (const opc::model::InvalidPartContent& e) {
        throw toFailure(e, package.getName(), stored.part);
    } catch (const opc::Exception& e) {
        throw readFailure(e, package.getName(), *part);
    }
    return stored;
}

} // namespace opcraft
