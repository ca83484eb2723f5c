// SPDX-License-Identifier: Apache-2.0
#include "model/ContentTypePieces.hpp"

#include <opc/core/Strings.hpp>

#include "model/ContentTypeSource.hpp"

#include <utility>

namespace opc::model {

namespace {

constexpr std::string_view CONTENT_TYPES = "http://schemas.openxmlformats.org/package/2006/content-types";
constexpr std::string_view SPACE = " \t\r\n";

/// White space at an end, or beside a slash or an equals sign.
bool hasForbiddenSpace(std::string_view type) {
    const auto isSpaceAt = [&](std::size_t i) { return i >= type.size() || SPACE.find(type[i]) != SPACE.npos; };
    if (isSpaceAt(0) || isSpaceAt(type.size() - 1))
        return true;
    for (std::size_t at = type.find_first_of("/="); at != type.npos; at = type.find_first_of("/=", at + 1))
        if (isSpaceAt(at - 1) || isSpaceAt(at + 1))
            return true;
    return false;
}

RuleId ruleOfContentType(std::string_view type) {
    if (type.find('(') != type.npos)
        return RuleId::ContentTypeComment;
    return hasForbiddenSpace(type) ? RuleId::ContentTypeSpace : RuleId::ContentTypeSyntax;
}

} // namespace

const PieceVocabulary ContentTypePieces::VOCABULARY = {CONTENT_TYPES, "Types", RuleId::ContentTypesCompatibility,
                                                       RuleId::DuplicateContentType, ""};

bool ContentTypePieces::read(const std::vector<unsigned char>& document, bool takes) {
    auto table = detail::readPlainContentTypes(document, source_.limits_);
    if (table && source_.take(std::move(*table)))
        return true;
    if (!validating_)
        validating_ = std::make_unique<ValidatingContentTypesReader>(source_.limits_);
    auto declarations = validating_->read(document);
    if (takes)
        for (ContentTypeDeclaration& each : declarations)
            source_.add(std::move(each));
    return false;
}

void ContentTypePieces::keepRoot(const detail::XmlPieces& document) {
    source_.kept_.rootAttributes = document.rootAttributes();
}

void ContentTypePieces::keep(const Piece& piece, const std::string& /*reason*/) {
    source_.kept_.elements.push_back(piece.document.standAlone(piece.child, CONTENT_TYPES));
}

RuleId ContentTypePieces::ruleOf(const Piece& piece, const ErrorPlace& place) const {
    const bool isDefault = piece.is(CONTENT_TYPES, "Default");
    if (!isDefault && !piece.is(CONTENT_TYPES, "Override"))
        return RuleId::XmlValid;
    const std::string name = piece.attribute(isDefault ? "Extension" : "PartName");
    const std::string type = piece.attribute("ContentType");
    if (name.empty() || type.empty())
        return isDefault ? RuleId::DefaultIncomplete : RuleId::OverrideIncomplete;
    if (place.attribute == "ContentType")
        return ruleOfContentType(type);
    if (place.attribute == "PartName")
        return ruleOfPartName(toString(name));
    const bool hasDot = place.attribute == "Extension" && name.find('.') != name.npos;
    return hasDot ? RuleId::ExtensionWithDot : RuleId::XmlValid;
}

/// The first of two entries for the same extension or part name wins.
std::string ContentTypePieces::keyOf(const Piece& /*piece*/) const {
    return {};
}

} // namespace opc::model
