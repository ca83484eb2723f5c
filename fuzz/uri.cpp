// SPDX-License-Identifier: Apache-2.0
// URIs, part names and external targets. The input is three lines of text: a base, a reference, another name.
#include <opc/core/PartNames.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/relationships/RelationshipSource.hpp>

#include "Fuzz.hpp"
#include "model/PartNameTree.hpp"

namespace {

using namespace opc::model;
using opc::fuzz::accepted;

/// @throws only what the constructor may throw for a text.
template <class Value>
std::optional<Value> tryMake(const std::u16string& text) {
    std::optional<Value> value;
    accepted([&] { value.emplace(text); });
    return value;
}

void checkText(const std::u16string& text) {
    const std::u16string encoded = URI::encodeComponent(text, "");
    OPCRAFT_REQUIRE(encoded.empty() || tryMake<URI>(u"/" + encoded));
    // What counts as an external target can be followed as a URI.
    if (RelationshipSource::isValidTarget(text))
        static_cast<void>(Relationship(u"a", u"b", URI(u"/"), text).getTargetURI());
}

void checkURI(const URI& uri, const std::u16string& text) {
    OPCRAFT_REQUIRE(uri.toString() == text && uri == URI(text) && !(uri < uri));
    OPCRAFT_REQUIRE(
        (uri.hasScheme() ? uri.getScheme() + u":" : u"") + (uri.isOpaque() ? uri.getSchemeSpecificPart() : u"") +
            (uri.hasAuthority() ? u"//" + uri.getAuthority() : u"") + uri.getPath() +
            (uri.hasQuery() ? u"?" + uri.getQuery() : u"") + (uri.hasFragment() ? u"#" + uri.getFragment() : u"") ==
        text);
    OPCRAFT_REQUIRE(uri.isAbsolute() == uri.hasScheme() && (!uri.isOpaque() || uri.isAbsolute()));
    OPCRAFT_REQUIRE(RelationshipSource::isValidTarget(text));
}

void checkReferences(const URI& base, const URI& reference) {
    OPCRAFT_REQUIRE((base < reference) + (reference < base) + (base == reference) == 1);
    if (base.isOpaque() || reference.isOpaque()) {
        OPCRAFT_REQUIRE(!accepted([&] { resolve(base, reference); }));
        return;
    }
    const URI target = resolve(base, reference);
    // A reference without a path takes that of the base with its dot segments (RFC 3986 §5.2.2).
    if (!reference.getPath().empty() && (target.isAbsolute() || target.hasAbsolutePath()))
        OPCRAFT_REQUIRE(target.isOpaque() || resolve(base, target).toString() == target.toString());
    try {
        OPCRAFT_REQUIRE(resolve(base, relativize(base, reference)).toString() == target.toString());
    } catch (const UnsupportedRelativize&) {
        // Documented: neither has a scheme, both have an absolute path, and the paths differ.
        OPCRAFT_REQUIRE(base.isAbsolute() || reference.isAbsolute() || !base.hasAbsolutePath() ||
                        !reference.hasAbsolutePath() || base.getPath() == reference.getPath());
    }
}

void checkPartName(const PartName& name) {
    const std::u16string text = name.toString();
    OPCRAFT_REQUIRE(PartName(text) == name && compare(name, text) == 0);
    if (name.isRelationshipName()) {
        OPCRAFT_REQUIRE(opc::detail::isRelationshipsPartName(text));
        OPCRAFT_REQUIRE(opc::detail::getSourcePartName(text) == name.getSourcePartName());
        OPCRAFT_REQUIRE(!accepted([&] { name.getRelationshipPartName(); }));
    } else if (!name.getURI().hasQuery() && !name.getURI().hasFragment()) {
        const PartName relationships(name.getRelationshipPartName());
        OPCRAFT_REQUIRE(relationships.isRelationshipName());
        // Documented: the first ".rels" of the file name ends the name of the source.
        OPCRAFT_REQUIRE(text.find(u".rels") != std::u16string::npos || relationships.getSourcePartName() == text);
    }
}

/// The tree of names against the plain definition.
void checkDerivation(const std::u16string& a, const std::u16string& b) {
    PartNameTree tree;
    tree.add(a);
    const auto derivation = tree.getDerivation(b);
    OPCRAFT_REQUIRE((derivation == PartNameTree::Derivation::Subset) == a.starts_with(b + u"/"));
    OPCRAFT_REQUIRE((derivation == PartNameTree::Derivation::Superset) == b.starts_with(a + u"/"));
    tree.add(b);
    tree.remove(a);
    tree.remove(b);
    OPCRAFT_REQUIRE(tree.getDerivation(a) == PartNameTree::Derivation::None);
}

const auto target = opc::fuzz::targets().emplace("uri", [](const opc::fuzz::Bytes& bytes) {
    opc::fuzz::Input input(bytes);
    std::optional<URI> base;
    std::optional<PartName> first;
    for (int i = 0; i < 3; ++i) {
        const std::u16string text = input.text();
        checkText(text);
        const auto uri = tryMake<URI>(text);
        const auto name = tryMake<PartName>(text);
        const bool isPartName = name && !PartName::isPackageRootUri(name->getURI());
        OPCRAFT_REQUIRE(uri || !name);
        OPCRAFT_REQUIRE(opc::detail::isPartName(text) == isPartName);
        if (uri)
            checkURI(*uri, text);
        if (uri && base)
            checkReferences(*base, *uri);
        base = uri ? uri : base;
        if (!isPartName)
            continue;
        checkPartName(*name);
        if (first)
            checkDerivation(PartNameTree::keyOf(*first), PartNameTree::keyOf(*name));
        first = name;
    }
});

} // namespace
