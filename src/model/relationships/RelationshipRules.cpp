// SPDX-License-Identifier: Apache-2.0
#include "model/relationships/RelationshipRules.hpp"

#include <opc/errors/Errors.hpp>
#include <opc/model/relationships/RelationshipSource.hpp>

#include "iri/IRI.hpp"

namespace opc::model {

namespace {

/// The URI in an attribute.
URI readURI(const std::u16string& text, const char* message) {
    try {
        return text;
    } catch (const InvalidURI&) {
        throw InvalidPartContent(message);
    }
}

/// Validation treats the value as a name, for which leading and trailing blanks are ignored.
void throwIfNotID(const std::u16string& id) {
    if (iri::withoutSpaceAtEnds(id).size() != id.size())
        throw InvalidPartContent("Relationship ID is not a valid xsd::ID");
}

void throwIfNoTarget(const std::u16string& target) {
    if (target.empty())
        throw InvalidPartContent("Target is empty");
}

const std::u16string& readExternalTarget(const std::u16string& target) {
    throwIfNoTarget(target);
    const std::u16string text(iri::withoutSpaceAtEnds(target));
    const bool hasBackslash = text.find(u'\\') != std::u16string::npos; // without one, both read the same
    if (!RelationshipSource::isValidTarget(text) || (hasBackslash && !iri::isAnyURI(text)))
        throw InvalidPartContent("Target is not a valid IRI for an external relationship");
    return target;
}

URI readInternalTarget(const std::u16string& target) {
    throwIfNoTarget(target);
    const URI uri = readURI(target, "Target is not a valid URI for an internal relationship");
    if (uri.isOpaque())
        throw InvalidPartContent("Target of an internal relationship cannot be an opaque URI");
    return uri;
}

} // namespace

Relationship RelationshipRules::read(const RelationshipText& text, const URI& source, const char16_t*& judged) {
    judged = relationships::TYPE;
    throwIfNotType(text.type);
    judged = relationships::ID;
    throwIfNotID(text.id);
    judged = relationships::TARGET;
    return text.isExternal ? Relationship(text.id, text.type, source, readExternalTarget(text.target))
                           : Relationship(text.id, text.type, source, readInternalTarget(text.target));
}

void RelationshipRules::throwIfNotType(const std::u16string& type) {
    if (type.empty())
        throw InvalidPartContent("Type is empty");
    if (types_.count(type) == 0) {
        readURI(type, "Type is not a valid URI");
        types_.insert(type);
    }
}

} // namespace opc::model
