// SPDX-License-Identifier: Apache-2.0
#include "model/PiecesReading.hpp"

#include <algorithm>
#include <map>
#include <utility>

namespace opc::model {

namespace {

using detail::XmlChild;
using detail::XmlFault;
using detail::XmlPieces;
using detail::XmlPosition;
using detail::XmlTag;

/// In all documents of a package. Each takes a parse of its own or is a finding, and the parser remembers every
/// namespace.
constexpr std::size_t MOST_UNUSUAL = 10'000;

std::vector<unsigned char> toBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

ErrorPlace placeFrom(const Exception& error) {
    ErrorPlace place = error.getPlace() ? *error.getPlace() : ErrorPlace();
    place.reason = error.what();
    return place;
}

/// From the document that holds a child alone, from its second line on, to the whole one. What the root lacks or has
/// too much of is told at its ends.
void translate(ErrorPlace& place, const XmlChild& child, std::string_view text) {
    const XmlPosition& begin = child.begin;
    const auto breaks = static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
    if (place.line < 2 || place.line > breaks + 2) {
        place.line = child.tagEnd.line;
        place.column = child.tagEnd.column;
        return;
    }
    if (place.line == 2)
        place.column += begin.column - 1;
    place.line += begin.line - 2;
}

Piece pieceOf(const XmlPieces& document, const XmlChild& child) {
    XmlTag tag = detail::readXmlTag(document.textOf(child));
    std::string uri = document.namespaceOf(tag.name, tag, false);
    return {document, child, std::move(tag), std::move(uri)};
}

} // namespace

std::string Piece::attribute(std::string_view name) const {
    const std::string* value = tag.attribute(name);
    return value == nullptr ? std::string() : *value;
}

bool PiecesReading::read(const std::vector<unsigned char>& bytes, const Exception& refused, PieceReader& reader) {
    const XmlPieces document = detail::splitXml(bytes, limits_);
    if (document.fault == XmlFault::Limit)
        throw;
    if (isWholeWrong(document))
        return false;
    // Each child is read with the declarations of the root.
    if (document.rootAlone().size() * document.children.size() <= 4 * limits_.xmlSize) {
        readRoot(document, reader);
        if (readChildren(document, reader) && isFound_)
            return true;
    }
    reading_.found(RuleId::XmlValid, refused, item_); // not because of a single child
    return false;
}

bool PiecesReading::isWholeWrong(const XmlPieces& document) {
    RuleId rule = RuleId::XmlValid;
    switch (document.fault) {
    case XmlFault::None:
    case XmlFault::Limit:
        if (document.namespaceOf(document.root.name, document.root, false) == vocabulary_.namespaceURI &&
            document.root.localName() == vocabulary_.root)
            return false;
        foundAt(rule, document.rootTagEnd, document.root.name,
                "The root element is not " + std::string(vocabulary_.root) + " of the namespace " +
                    std::string(vocabulary_.namespaceURI));
        return true;
    case XmlFault::NotWellFormed:
        rule = RuleId::XmlWellFormed;
        break;
    case XmlFault::DocumentType:
        rule = RuleId::NoDocumentType;
        break;
    case XmlFault::Encoding:
        rule = RuleId::XmlEncoding;
        break;
    }
    foundAt(rule, document.faultPlace, {}, document.faultReason);
    return true;
}

void PiecesReading::readRoot(const XmlPieces& document, PieceReader& reader) {
    try {
        reader.read(toBytes(document.rootAlone()), false);
    } catch (const InvalidXMLSchema&) {
        throw;
    } catch (const Exception& e) {
        ErrorPlace place = placeFrom(e);
        place.line = document.rootTagEnd.line;
        place.column = document.rootTagEnd.column;
        place.element = document.root.name;
        const bool isCompatible = !isCompatibility(document, document.root, place);
        found(isCompatible ? RuleId::XmlValid : vocabulary_.compatibility, std::move(place));
        reader.keepRoot(document);
    }
    if (document.strayText)
        foundAt(RuleId::XmlValid, *document.strayText, document.root.name,
                "Text between the elements of " + document.root.name);
}

bool PiecesReading::readChildren(const XmlPieces& document, PieceReader& reader) {
    std::map<std::string, std::size_t> keys;
    for (const XmlChild& child : document.children)
        if (std::string key = reader.keyOf(pieceOf(document, child)); !key.empty())
            ++keys[std::move(key)];
    return std::all_of(document.children.begin(), document.children.end(), [&](const XmlChild& child) {
        const Piece piece = pieceOf(document, child);
        const auto key = keys.find(reader.keyOf(piece));
        const bool isDuplicate = key != keys.end() && key->second > 1;
        const bool isPlain = readChild(piece, isDuplicate, reader);
        return (isPlain && !isDuplicate) || reading_.countUnusual() <= MOST_UNUSUAL;
    });
}

/// @return whether it was read without a validating parser.
bool PiecesReading::readChild(const Piece& piece, bool isDuplicate, PieceReader& reader) {
    bool isPlain = false;
    try {
        isPlain = reader.read(toBytes(piece.document.rootWith(piece.child)), !isDuplicate);
    } catch (const InvalidXMLSchema&) {
        throw;
    } catch (const Exception& e) {
        ErrorPlace place = placeFrom(e);
        translate(place, piece.child, piece.document.textOf(piece.child));
        if (place.element.empty() || place.element == piece.document.root.name)
            place.element = piece.tag.name;
        if (place.id.empty())
            place.id = piece.attribute("Id");
        const RuleId rule = ruleOf(piece, place, reader);
        reader.keep(piece, place.reason);
        found(rule, std::move(place));
        return false;
    }
    if (isDuplicate) {
        ErrorPlace place{
            {}, piece.child.tagEnd.line, piece.child.tagEnd.column, piece.tag.name, vocabulary_.key, {}, {}, {}};
        place.value = piece.attribute(vocabulary_.key);
        place.id = piece.attribute("Id");
        place.reason = (place.value.empty() ? piece.tag.name : "ID value '" + place.value + "'") + " is not unique";
        reader.keep(piece, place.reason);
        found(vocabulary_.duplicate, std::move(place));
    }
    return isPlain;
}

void PiecesReading::found(RuleId rule, ErrorPlace place) {
    isFound_ = true;
    place.item = item_;
    reading_.found(rule, std::move(place));
}

void PiecesReading::foundAt(RuleId rule, const XmlPosition& position, const std::string& element, std::string reason) {
    ErrorPlace place;
    place.line = position.line;
    place.column = position.column;
    place.element = element;
    place.reason = std::move(reason);
    found(rule, std::move(place));
}

RuleId PiecesReading::ruleOf(const Piece& piece, const ErrorPlace& place, const PieceReader& reader) const {
    const bool isForeign = piece.namespaceURI == detail::MARKUP_COMPATIBILITY_NAMESPACE;
    return isForeign || isCompatibility(piece.document, piece.tag, place) ? vocabulary_.compatibility
                                                                          : reader.ruleOf(piece, place);
}

bool PiecesReading::isCompatibility(const XmlPieces& document, const XmlTag& tag, const ErrorPlace& place) const {
    return place.value == detail::MARKUP_COMPATIBILITY_NAMESPACE ||
           document.namespaceOf(place.attribute, tag, true) == detail::MARKUP_COMPATIBILITY_NAMESPACE;
}

} // namespace opc::model
