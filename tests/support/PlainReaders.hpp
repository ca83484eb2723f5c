// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/coreproperties/CoreProperty.hpp>

#include "model/coreproperties/PlainCoreProperties.hpp"
#include "model/coreproperties/ValidatingCorePropertiesReader.hpp"
#include "model/relationships/PlainRelationships.hpp"
#include "model/relationships/RelationshipManager.hpp"
#include "model/relationships/ValidatingRelationshipsReader.hpp"

#include <algorithm>

/// What is read without a validating parser, held to what such a parser reads. Each returns none when a document is not
/// plain, else whether both readers give the same data; what the validating one throws is a fault.
namespace opc::test {

inline std::optional<bool> areRelationshipsAlike(const std::vector<unsigned char>& part) {
    using namespace model;
    static ValidatingRelationshipsReader validating{Limits()}; // as a package does, one for many parts
    static detail::PlainXmlReader parser;
    RelationshipRules rules;
    RelationshipManager plain(URI(u"/word/document.xml"));
    PlainRelationships reader(rules, plain);
    if (!reader.read(part, Limits(), parser))
        return std::nullopt;
    RelationshipManager expected(plain.getSourceURI());
    validating.read(part, rules, expected);
    return plain.getRelationships() == expected.getRelationships() && reader.isCompact() == validating.isCompact(part);
}

inline std::optional<bool> areCorePropertiesAlike(const std::vector<unsigned char>& part) {
    using namespace model;
    static ValidatingCorePropertiesReader validating{Limits()};
    const auto plain = readPlainCoreProperties(part, Limits());
    if (!plain)
        return std::nullopt;
    CoreProperties expected;
    validating.read(part, expected);
    const auto& all = getAllCoreProperties();
    return std::all_of(all.begin(), all.end(), [&](const CoreProperty& property) {
        return std::visit([&](const auto& access) { return ((*plain).*access.get)() == (expected.*access.get)(); },
                          property.access);
    });
}

} // namespace opc::test
