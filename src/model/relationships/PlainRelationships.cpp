// SPDX-License-Identifier: Apache-2.0
#include "model/relationships/PlainRelationships.hpp"

#include <opc/core/Characters.hpp>
#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include "model/relationships/RelationshipManager.hpp"
#include "model/relationships/RelationshipRules.hpp"

#include <algorithm>

namespace opc::model {

namespace {

constexpr std::string_view NAMESPACE = "http://schemas.openxmlformats.org/package/2006/relationships";
constexpr std::string_view ROOT = "http://schemas.openxmlformats.org/package/2006/relationships Relationships";
constexpr std::string_view RELATIONSHIP = "http://schemas.openxmlformats.org/package/2006/relationships Relationship";

/// The names of XML that all programs agree on.
bool isPlainName(std::string_view text) noexcept {
    const auto isStart = [](char c) { return detail::isLetter(static_cast<unsigned char>(c)) || c == '_'; };
    return !text.empty() && isStart(text.front()) && std::all_of(text.begin(), text.end(), [&](char c) {
        return isStart(c) || detail::isDigit(static_cast<unsigned char>(c)) || c == '.' || c == '-';
    });
}

} // namespace

bool PlainRelationships::read(const std::vector<unsigned char>& bytes, const Limits& limits,
                              detail::PlainXmlReader& reader) {
    try {
        return reader.read(bytes, limits, *this);
    } catch (const Exception&) {
        return false; // what is wrong is said with its place by whoever validates
    }
}

bool PlainRelationships::declareNamespace(std::string_view /*prefix*/, std::string_view uri) {
    return uri == NAMESPACE || detail::isSchemaNamespace(uri);
}

bool PlainRelationships::startElement(const detail::PlainElement& element) {
    switch (++depth_) {
    case 1:
        return element.name() == ROOT && element.attributeCount() == 0;
    case 2:
        return element.name() == RELATIONSHIP && readRelationship(element);
    default:
        return false;
    }
}

bool PlainRelationships::endElement(std::uint64_t /*end*/) {
    --depth_;
    return true;
}

bool PlainRelationships::text(std::string_view piece) {
    isCompact_ = false;
    return depth_ == 1 && detail::isXmlSpace(piece);
}

bool PlainRelationships::readRelationship(const detail::PlainElement& element) {
    const char* id = element.attribute("Id");
    const char* type = element.attribute("Type");
    const char* target = element.attribute("Target");
    const char* mode = element.attribute("TargetMode");
    if (id == nullptr || type == nullptr || target == nullptr || !isPlainName(id))
        return false;
    const std::string_view modeText = mode == nullptr ? "Internal" : mode;
    const bool isExternal = modeText == "External";
    if (element.attributeCount() != (mode == nullptr ? 3U : 4U) || !(isExternal || modeText == "Internal"))
        return false;
    const char16_t* judged = nullptr;
    return manager_.add(rules_.read({toString(std::string_view(id)), toString(std::string_view(type)),
                                     toString(std::string_view(target)), isExternal},
                                    manager_.getSourceURI(), judged));
}

} // namespace opc::model
