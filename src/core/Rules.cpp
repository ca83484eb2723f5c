// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Rules.hpp>

#include <opc/core/Findings.hpp>

#include <algorithm>
#include <iterator>

namespace opc {

namespace {

using Id = RuleId;
using Is = Severity;

// clang-format off
constexpr Rule RULES[] = {
    {Id::PartNameNotEmpty, "M1.1", "part-name", Is::Error,
     "A part name is not empty.", "Name the part, or remove the entry."},
    {Id::NoEmptySegment, "M1.3", "part-name", Is::Error,
     "A part name has no empty segment.", "Write a single slash between segments."},
    {Id::SlashInFront, "M1.4", "part-name", Is::Error,
     "A part name starts with a slash.", "Put a slash in front of the name."},
    {Id::NoSlashAtEnd, "M1.5", "part-name", Is::Error,
     "A part name does not end with a slash.", "Remove the slash at the end."},
    {Id::PathCharacters, "M1.6", "part-name", Is::Warning,
     "A part name has only characters of a URI path; others are percent-encoded.",
     "Percent-encode the character in names and targets, or choose a name of ASCII letters and digits."},
    {Id::NoEscapedSlash, "M1.7", "part-name", Is::Error,
     "A part name has no percent-encoded slash or backslash.", "Rename the part."},
    {Id::NoEscapedUnreserved, "M1.8", "part-name", Is::Error,
     "A part name has no percent-encoded letter, digit, hyphen, dot, underscore or tilde.",
     "Write the character itself."},
    {Id::NoDotAtEnd, "M1.9", "part-name", Is::Error,
     "No segment of a part name ends with a dot.", "Rename the part."},
    {Id::NoSegmentOfDots, "M1.10", "part-name", Is::Error,
     "Every segment of a part name has a character that is not a dot.", "Rename the part."},
    {Id::NoDerivedPartName, "M1.11", "part-name", Is::Error,
     "No part name is that of another part with segments appended.", "Rename one of the two parts."},
    {Id::NoEquivalentPartNames, "M1.12", "part-name", Is::Error,
     "No two part names are equal when the case of ASCII letters does not count.",
     "Rename or remove one of the two parts."},
    {Id::NamesThatMeet, "names-that-meet", "part-name", Is::Warning,
     "No two items have names that some program takes for one.", "Rename or remove one of the two items."},
    {Id::ItemBelowItem, "item-below-item", "part-name", Is::Warning,
     "No item lies below another item that is not a folder.", "Rename one of the two items."},

    {Id::ContentTypeSyntax, "M1.13", "content-types", Is::Error,
     "A content type is a media type: type, slash, subtype and parameters.", "Write a valid media type."},
    {Id::ContentTypeSpace, "M1.14", "content-types", Is::Error,
     "A content type has no white space around it, its slash or its equals signs.", "Remove the white space."},
    {Id::ContentTypeComment, "M1.15", "content-types", Is::Error,
     "A content type has no comment in parentheses.", "Remove the comment."},
    {Id::ContentTypeParameters, "M1.22", "content-types", Is::Error,
     "The content types that the standard defines have no parameters.", "Remove the parameters."},
    {Id::ContentTypesNoPart, "M2.1", "content-types", Is::Error,
     "The content types stream is not a part.", "Remove the entry, or lead the target elsewhere."},
    {Id::RelationshipsTypeMissing, "M2.4", "content-types", Is::Warning,
     "Every part has a Default or an Override, relationships parts too.",
     "Add a Default for the extension \"rels\" with the content type of relationships."},
    {Id::DuplicateContentType, "M2.5", "content-types", Is::Error,
     "There is at most one Default for an extension and one Override for a part name.",
     "Remove all but one of the entries."},
    {Id::DefaultIncomplete, "M2.6", "content-types", Is::Error,
     "A Default has an extension and a content type, and neither is empty.", "Complete or remove the entry."},
    {Id::OverrideIncomplete, "M2.7", "content-types", Is::Error,
     "An Override has a part name and a content type, and neither is empty.", "Complete or remove the entry."},
    {Id::ContentTypesCompatibility, "M2.10", "content-types", Is::Error,
     "The content types stream does not use Markup Compatibility.",
     "Remove its elements, attributes and declarations."},
    {Id::ContentTypesMissing, "M3.10", "content-types", Is::Error,
     "A package has one content types stream, the item [Content_Types].xml.", "Add it, or remove all but one."},
    {Id::UntypedItem, "M3.5", "content-types", Is::Warning,
     "An item without a content type is not a part.",
     "Add a Default or an Override for it, or remove the item."},
    {Id::ContentTypesItemCase, "content-types-item-case", "content-types", Is::Warning,
     "The content types stream is named [Content_Types].xml, in this case.", "Rename the item."},
    {Id::ContentTypeCase, "content-type-case", "content-types", Is::Warning,
     "The content type of a part depends neither on the case of names nor on namespace prefixes.",
     "Write names in the case of the parts, and entries without prefixes."},
    {Id::OverrideOfNothing, "override-of-nothing", "content-types", Is::Note,
     "An Override names a part that does not exist.", "Remove the entry."},
    {Id::ExtensionWithDot, "extension-with-dot", "content-types", Is::Error,
     "The extension of a Default has no dot.", "Write the extension without the dot."},

    {Id::XmlEncoding, "M1.17", "xml", Is::Error,
     "XML that the standard defines is encoded in UTF-8 or UTF-16, as it declares.", "Write it in UTF-8."},
    {Id::NoDocumentType, "M1.18", "xml", Is::Error,
     "XML that the standard defines has no document type declaration.", "Remove the declaration."},
    {Id::MarkupCompatibility, "M1.19", "xml", Is::Warning,
     "Relationships markup uses no Markup Compatibility, which few programs process.",
     "Remove elements, attributes and declarations of Markup Compatibility."},
    {Id::XmlValid, "M1.20", "xml", Is::Error,
     "XML that the standard defines is valid by its schema.", "Remove or correct what is not valid."},
    {Id::XmlWellFormed, "xml-well-formed", "xml", Is::Error,
     "XML that the standard defines is well-formed.", "Correct the XML."},

    {Id::NoRelationshipsOfRelationships, "M1.25", "relationships", Is::Error,
     "A relationships part has no relationships.", "Remove the relationships part of the relationships part."},
    {Id::RelationshipId, "M1.26", "relationships", Is::Error,
     "Every relationship has an Id that is an xsd:ID and unique in its relationships part.",
     "Give the relationship an Id of its own, in the markup that refers to it, too."},
    {Id::RelationshipType, "M1.27", "relationships", Is::Error,
     "Every relationship has a Type that is a URI.", "Write the URI of the type."},
    {Id::RelationshipTarget, "M1.28", "relationships", Is::Error,
     "The Target of every relationship is a URI reference.",
     "Percent-encode what is not allowed in a URI, or remove the relationship."},
    {Id::InternalTarget, "M1.29", "relationships", Is::Error,
     "The Target of an internal relationship is a relative reference to a part.",
     "Set TargetMode to External, or lead the target to a part."},
    {Id::RelationshipsContentType, "M1.30", "relationships", Is::Error,
     "Relationships parts, and no others, have the content type of relationships and a name /_rels/*.rels.",
     "Correct the content type, or rename the part."},
    {Id::RelationshipsOfNothing, "relationships-of-nothing", "relationships", Is::Error,
     "A relationships part belongs to a part of the package.",
     "Remove the relationships part, or restore its part."},
    {Id::DanglingTarget, "dangling-target", "relationships", Is::Warning,
     "An internal relationship leads to a part of the package.",
     "Restore the part, or remove the relationship."},
    {Id::SelfTarget, "self-target", "relationships", Is::Warning,
     "A relationship does not lead to its own source.", "Remove the relationship, or lead it elsewhere."},
    {Id::TargetIsRelationships, "target-is-relationships", "relationships", Is::Warning,
     "A relationship does not lead to a relationships part.", "Remove the relationship, or lead it elsewhere."},
    {Id::TargetCase, "target-case", "relationships", Is::Warning,
     "A target has the name of its part in the same case.", "Write the target as the part is named."},
    {Id::NoPackageRelationships, "no-package-relationships", "relationships", Is::Note,
     "A package has relationships, by which programs find its main part.",
     "Add /_rels/.rels with a relationship to the main part."},

    {Id::NoMixedInterleaving, "M2.11", "interleaving", Is::Error,
     "A part is stored as one item or in pieces, not both.", "Remove the item or the pieces."},
    {Id::NoEquivalentPieces, "M2.14", "interleaving", Is::Error,
     "No two pieces have names that are equal when the case of ASCII letters does not count.",
     "Remove one of the two pieces."},
    {Id::NoDuplicatePieceNumber, "M2.15", "interleaving", Is::Error,
     "No two pieces of a part have the same number.", "Remove one of the two pieces."},
    {Id::IncompletePieces, "M2.16", "interleaving", Is::Error,
     "The pieces of a part are numbered from 0 without a gap, and the last one is marked.",
     "Restore the missing pieces, or remove all."},
    {Id::OnePartPerName, "M2.17", "interleaving", Is::Error,
     "No two items map to the same part.", "Remove one of the two items."},
    {Id::PieceOrder, "S2.5", "interleaving", Is::Warning,
     "The pieces of a part are stored in the order of their numbers.", "Store them in order, or as one item."},
    {Id::InterleavedPart, "interleaved-part", "interleaving", Is::Warning,
     "A part in pieces is read by few programs.", "Store it as one item."},

    {Id::ItemNameSyntax, "M3.2", "zip", Is::Warning,
     "Item names are ASCII, without backslashes, and do not start with a slash or a drive.",
     "Rename the item, and what leads to it."},
    {Id::NoDuplicateItem, "M3.3", "zip", Is::Error,
     "Item names are unique in an archive.", "Remove all but one of the items."},
    {Id::FolderItem, "M3.7", "zip", Is::Note,
     "Items of folders are not parts.", "Remove the item."},
    {Id::NoEncryption, "M3.9", "zip", Is::Error,
     "Items are not encrypted.", "Write the archive without encryption."},
    {Id::HeadersAgree, "M3.14", "zip", Is::Error,
     "Local headers and data descriptors agree with the central directory.", "Write the archive anew."},
    {Id::CompressionMethod, "M3.17", "zip", Is::Error,
     "Items are stored or deflated, with the flags and versions that the standard lists.",
     "Write the archive anew."},
    {Id::Zip64WhenNeeded, "M3.19", "zip", Is::Warning,
     "Records of ZIP64 are used only where a number needs them.", "Write the archive anew."},
    {Id::FileSystemName, "S3.1", "zip", Is::Note,
     "Item names stay within the limits of file systems.", "Rename the part."},
    {Id::ZipOverlap, "zip-overlap", "zip", Is::Error,
     "No two items share bytes of the file.", "Write the archive anew from a trusted copy."},
    {Id::ZipDamaged, "zip-damaged", "zip", Is::Error,
     "The content of every item has the length and the checksum that are recorded.",
     "Restore the item from a sound copy."},
    {Id::ZipHiddenData, "zip-hidden-data", "zip", Is::Warning,
     "Nothing lies before, between and behind the items and records of the archive.", "Write the archive anew."},
    {Id::ZipDescriptor, "zip-descriptor", "zip", Is::Warning,
     "A data descriptor can be read in one way only.", "Write the archive anew."},
    {Id::ZipExtraField, "zip-extra-field", "zip", Is::Warning,
     "Extra fields are whole, and do not change the name or the kind of an item.", "Write the archive anew."},
    {Id::ZipFileKind, "zip-file-kind", "zip", Is::Warning,
     "Items are regular files: neither links nor devices.", "Replace the item by a regular file."},
    {Id::ZipEndRecord, "zip-end-record", "zip", Is::Error,
     "The archive is on one disk and has one end record, right behind its central directory.", "Write the archive anew."},
    {Id::ZipOtherFormat, "zip-other-format", "zip", Is::Warning,
     "The file is not an archive of another format at the same time.", "Write the archive anew."},

    {Id::OneCoreProperties, "M4.1", "core-properties", Is::Error,
     "A package has at most one relationship to core properties, and it leads to a core properties part.",
     "Remove all but one of the relationships."},
    {Id::PropertiesCompatibility, "M4.2", "core-properties", Is::Error,
     "Core properties do not use Markup Compatibility.", "Remove its elements, attributes and declarations."},
    {Id::PropertiesRefinements, "M4.3", "core-properties", Is::Error,
     "Core properties have no refinements of Dublin Core elements but dcterms:created and dcterms:modified.",
     "Remove the element."},
    {Id::PropertiesLanguage, "M4.4", "core-properties", Is::Error,
     "Core properties have no xml:lang outside the keywords.", "Remove the attribute."},
    {Id::PropertiesType, "M4.5", "core-properties", Is::Error,
     "xsi:type is on dcterms:created and dcterms:modified, with the value dcterms:W3CDTF, and nowhere else.",
     "Add, correct or remove the attribute."},
    {Id::PropertyValue, "property-value", "core-properties", Is::Error,
     "Every core property is one that the standard defines, appears once and has a value of its type.",
     "Set the property anew, or remove it."},
    {Id::CorePropertiesTypeName, "core-properties-type-name", "core-properties", Is::Warning,
     "The relationship to the core properties has the type that the standard defines.",
     "Write the type of the standard, so that every program finds the properties."},

    {Id::ThumbnailTarget, "M5.1", "thumbnail", Is::Warning,
     "A thumbnail relationship leads to a part.", "Restore the thumbnail, or remove the relationship."},
    {Id::ThumbnailImage, "thumbnail-image", "thumbnail", Is::Warning,
     "A thumbnail has the content type of an image.", "Correct the content type."},

    {Id::OneSignatureOrigin, "M6.1", "signatures", Is::Error,
     "A package has at most one signature origin, to which a relationship of the package leads.",
     "Remove all but one of the origins."},
    {Id::SignatureWithoutOrigin, "M6.3", "signatures", Is::Error,
     "Every signature is related by the signature origin.", "Relate the signature, or remove it."},
    {Id::CertificateWithoutSignature, "M6.4", "signatures", Is::Warning,
     "Every certificate part is related by a signature.", "Remove the certificate part."},
    {Id::SignatureReference, "M6.9", "signatures", Is::Error,
     "Every part that a signature refers to exists.", "Restore the part, or sign again."},
    {Id::SignatureContentType, "M6.11", "signatures", Is::Error,
     "A signed part has the content type that was signed.", "Restore the content type, or sign again."},
    {Id::SignatureValid, "signature-valid", "signatures", Is::Error,
     "A signature is valid, and what it refers to is as it was signed.", "Restore what was signed, or sign again."},
    {Id::EmptySignatureOrigin, "S6.1", "signatures", Is::Note,
     "The signature origin part is empty.", "Empty the part."},
    {Id::SignatureReadable, "signature-readable", "signatures", Is::Error,
     "Every signature can be read.", "Remove the signature, and sign again."},
    {Id::SignatureCoverage, "signature-coverage", "signatures", Is::Warning,
     "Every signature covers all content of the package.", "Sign again."},

    {Id::Macros, "macros", "gateway", Is::Note,
     "The package has macros or other executable content.",
     "Remove the parts, or take the file from those you trust."},
    {Id::EmbeddedObject, "embedded-object", "gateway", Is::Note,
     "The package has embedded files or objects.", "Check the embedded files like any other."},
    {Id::ExternalTemplate, "external-template", "gateway", Is::Note,
     "The package loads a template from elsewhere when it is opened.", "Remove the relationship."},
    {Id::ExternalTarget, "external-target", "gateway", Is::Note,
     "The package refers to something outside that a program may load.", "Check where the target leads."},
};
// clang-format on

constexpr bool isInOrder() {
    for (std::size_t i = 0; i < std::size(RULES); ++i)
        if (static_cast<std::size_t>(RULES[i].id) != i)
            return false;
    return true;
}
static_assert(isInOrder());

} // namespace

FindingSink::~FindingSink() = default;

std::vector<Rule> getAllRules() {
    return {std::begin(RULES), std::end(RULES)};
}

const Rule& getRule(RuleId id) noexcept {
    return RULES[static_cast<std::size_t>(id)];
}

const Rule* findRule(std::string_view name) noexcept {
    const auto* const end = std::end(RULES);
    const auto* const found = std::find_if(std::begin(RULES), end, [&](const Rule& rule) { return name == rule.name; });
    return found == end ? nullptr : found;
}

} // namespace opc
