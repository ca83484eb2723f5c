// SPDX-License-Identifier: Apache-2.0
#include "model/relationships/RelationshipSerializer.hpp"

#include <opc/errors/Errors.hpp>

#include "model/WellKnown.hpp"
#include "model/relationships/PlainRelationships.hpp"
#include "model/relationships/RelationshipManager.hpp"
#include "model/relationships/ValidatingRelationshipsReader.hpp"
#include "xml/XmlWriting.hpp"

namespace opc::model {

namespace {

void writeRelationship(detail::XmlWriter& xml, const Relationship& relationship) {
    xml.start("Relationship");
    xml.attribute("Id", relationship.getID());
    xml.attribute("Target", relationship.getTarget());
    if (relationship.getTargetMode() == TargetMode::External)
        xml.attribute("TargetMode", u"External");
    xml.attribute("Type", relationship.getType());
    xml.end();
}

} // namespace

RelationshipSerializer::RelationshipSerializer(const Limits& limits) : limits_(limits) {}

RelationshipSerializer::~RelationshipSerializer() = default;

bool RelationshipSerializer::load(const std::vector<unsigned char>& bytes, RelationshipManager& manager) {
    manager.clear();
    manager.setModified(true);
    const bool isPlain = PlainRelationships(rules_, manager).read(bytes, limits_, plainReader_);
    if (!isPlain) {
        manager.clear();
        validatingReader().read(bytes, rules_, manager);
    }
    manager.setModified(false);
    return isPlain;
}

bool RelationshipSerializer::isCompact(const std::vector<unsigned char>& bytes) {
    RelationshipManager ignored(u"/");
    PlainRelationships relationships(rules_, ignored);
    return relationships.read(bytes, limits_, plainReader_) ? relationships.isCompact()
                                                            : validatingReader().isCompact(bytes);
}

std::vector<unsigned char> RelationshipSerializer::save(const RelationshipManager& manager) {
    const auto layout = manager.isCompact() ? detail::XmlLayout::Compact : detail::XmlLayout::Indented;
    KeptXml kept{manager.getRootAttributes()};
    for (const RawRelationship& raw : manager.getRawRelationships())
        kept.elements.push_back(raw.text);
    try {
        return writeXml(
            layout, true, limits_,
            [&manager](detail::XmlWriter& xml) {
                xml.start("Relationships");
                xml.attribute("xmlns", wellknown::RELATIONSHIPS_NAMESPACE);
                for (const auto& entry : manager.getRelationships())
                    writeRelationship(xml, entry.second);
                xml.end();
            },
            kept);
    } catch (const InvalidXMLDocument& e) {
        throw InvalidPartContent(e.what());
    }
}

ValidatingRelationshipsReader& RelationshipSerializer::validatingReader() {
    if (!validatingReader_)
        validatingReader_ = std::make_unique<ValidatingRelationshipsReader>(limits_);
    return *validatingReader_;
}

} // namespace opc::model
