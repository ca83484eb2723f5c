// SPDX-License-Identifier: Apache-2.0
#include "model/coreproperties/CorePropertiesPieces.hpp"

#include <opc/core/Strings.hpp>
#include <opc/model/coreproperties/CoreProperty.hpp>

#include "model/coreproperties/CorePropertiesVocabulary.hpp"
#include "model/coreproperties/PlainCoreProperties.hpp"

namespace opc::model {

namespace {

constexpr std::string_view CORE_PROPERTIES = "http://schemas.openxmlformats.org/package/2006/metadata/core-properties";

bool isIn(const std::string& namespaceURI, const char16_t* wanted) {
    return namespaceURI == toASCIIString(wanted);
}

/// The value of xsi:type, whatever its prefix.
std::string typeOf(const Piece& piece) {
    for (const auto& [name, value] : piece.tag.attributes)
        if (name.ends_with(":type") && isIn(piece.document.namespaceOf(name, piece.tag, true), coreproperties::XSI))
            return value;
    return {};
}

} // namespace

const PieceVocabulary CorePropertiesPieces::VOCABULARY = {CORE_PROPERTIES, "coreProperties",
                                                          RuleId::PropertiesCompatibility, RuleId::PropertyValue, ""};

bool CorePropertiesPieces::read(const std::vector<unsigned char>& document, bool takes) {
    CoreProperties one;
    const auto plain = readPlainCoreProperties(document, limits_);
    if (plain) {
        one = *plain;
    } else {
        if (!validating_)
            validating_ = std::make_unique<ValidatingCorePropertiesReader>(limits_);
        validating_->read(document, one);
    }
    if (takes)
        for (const CoreProperty& property : getAllCoreProperties())
            std::visit(
                [&](const auto& access) {
                    if (const auto value = (one.*access.get)())
                        (properties_.*access.set)(*value);
                },
                property.access);
    return plain.has_value();
}

/// The part is not written anew.
void CorePropertiesPieces::keep(const Piece& /*piece*/, const std::string& /*reason*/) {}

RuleId CorePropertiesPieces::ruleOf(const Piece& piece, const ErrorPlace& /*place*/) const {
    const std::string_view name = piece.tag.localName();
    const bool isDated = name == "created" || name == "modified";
    if (isIn(piece.namespaceURI, coreproperties::DCTERMS) && !isDated)
        return RuleId::PropertiesRefinements;
    if (piece.tag.attribute("xml:lang") != nullptr && name != "keywords" && name != "value")
        return RuleId::PropertiesLanguage;
    const std::string type = typeOf(piece);
    if (isDated ? type != toASCIIString(coreproperties::W3CDTF) : !type.empty())
        return RuleId::PropertiesType;
    return RuleId::PropertyValue;
}

std::string CorePropertiesPieces::keyOf(const Piece& piece) const {
    return piece.namespaceURI + " " + std::string(piece.tag.localName());
}

} // namespace opc::model
