// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <string_view>
#include <vector>

namespace opc {

/// What a finding means for users of a package.
enum class Severity {
    Error,   ///< the standard forbids it
    Warning, ///< programs differ on it, or it is against a recommendation
    Note,    ///< worth knowing
};

/// A rule that a package can break. The comments are the names (`Rule::name`).
enum class RuleId {
    // Part names (ECMA-376-2 §6.2.2)
    PartNameNotEmpty,      ///< M1.1
    NoEmptySegment,        ///< M1.3
    SlashInFront,          ///< M1.4
    NoSlashAtEnd,          ///< M1.5
    PathCharacters,        ///< M1.6
    NoEscapedSlash,        ///< M1.7
    NoEscapedUnreserved,   ///< M1.8
    NoDotAtEnd,            ///< M1.9
    NoSegmentOfDots,       ///< M1.10
    NoDerivedPartName,     ///< M1.11
    NoEquivalentPartNames, ///< M1.12
    NamesThatMeet,         ///< names-that-meet
    ItemBelowItem,         ///< item-below-item
    // Content types (§6.2.3, §7.2.3)
    ContentTypeSyntax,         ///< M1.13
    ContentTypeSpace,          ///< M1.14
    ContentTypeComment,        ///< M1.15
    ContentTypeParameters,     ///< M1.22
    ContentTypesNoPart,        ///< M2.1
    RelationshipsTypeMissing,  ///< M2.4
    DuplicateContentType,      ///< M2.5
    DefaultIncomplete,         ///< M2.6
    OverrideIncomplete,        ///< M2.7
    ContentTypesCompatibility, ///< M2.10
    ContentTypesMissing,       ///< M3.10
    UntypedItem,               ///< M3.5
    ContentTypesItemCase,      ///< content-types-item-case
    ContentTypeCase,           ///< content-type-case
    OverrideOfNothing,         ///< override-of-nothing
    ExtensionWithDot,          ///< extension-with-dot
    // XML (§6.4 and throughout)
    XmlEncoding,         ///< M1.17
    NoDocumentType,      ///< M1.18
    MarkupCompatibility, ///< M1.19
    XmlValid,            ///< M1.20
    XmlWellFormed,       ///< xml-well-formed
    // Relationships (§6.5)
    NoRelationshipsOfRelationships, ///< M1.25
    RelationshipId,                 ///< M1.26
    RelationshipType,               ///< M1.27
    RelationshipTarget,             ///< M1.28
    InternalTarget,                 ///< M1.29
    RelationshipsContentType,       ///< M1.30
    RelationshipsOfNothing,         ///< relationships-of-nothing
    DanglingTarget,                 ///< dangling-target
    SelfTarget,                     ///< self-target
    TargetIsRelationships,          ///< target-is-relationships
    TargetCase,                     ///< target-case
    NoPackageRelationships,         ///< no-package-relationships
    // Interleaved parts (§7.2.4)
    NoMixedInterleaving,    ///< M2.11
    NoEquivalentPieces,     ///< M2.14
    NoDuplicatePieceNumber, ///< M2.15
    IncompletePieces,       ///< M2.16
    OnePartPerName,         ///< M2.17
    PieceOrder,             ///< S2.5
    InterleavedPart,        ///< interleaved-part
    // ZIP (§7.3, Annex B, APPNOTE)
    ItemNameSyntax,    ///< M3.2
    NoDuplicateItem,   ///< M3.3
    FolderItem,        ///< M3.7
    NoEncryption,      ///< M3.9
    HeadersAgree,      ///< M3.14
    CompressionMethod, ///< M3.17
    Zip64WhenNeeded,   ///< M3.19
    FileSystemName,    ///< S3.1
    ZipOverlap,        ///< zip-overlap
    ZipDamaged,        ///< zip-damaged
    ZipHiddenData,     ///< zip-hidden-data
    ZipDescriptor,     ///< zip-descriptor
    ZipExtraField,     ///< zip-extra-field
    ZipFileKind,       ///< zip-file-kind
    ZipEndRecord,      ///< zip-end-record
    ZipOtherFormat,    ///< zip-other-format
    // Core properties (§8)
    OneCoreProperties,       ///< M4.1
    PropertiesCompatibility, ///< M4.2
    PropertiesRefinements,   ///< M4.3
    PropertiesLanguage,      ///< M4.4
    PropertiesType,          ///< M4.5
    PropertyValue,           ///< property-value
    CorePropertiesTypeName,  ///< core-properties-type-name
    // Thumbnails (§9)
    ThumbnailTarget, ///< M5.1
    ThumbnailImage,  ///< thumbnail-image
    // Signatures (§10)
    OneSignatureOrigin,          ///< M6.1
    SignatureWithoutOrigin,      ///< M6.3
    CertificateWithoutSignature, ///< M6.4
    SignatureReference,          ///< M6.9
    SignatureContentType,        ///< M6.11
    SignatureValid,              ///< signature-valid
    EmptySignatureOrigin,        ///< S6.1
    SignatureReadable,           ///< signature-readable
    SignatureCoverage,           ///< signature-coverage
    // What a gateway that takes uploads asks
    Macros,           ///< macros
    EmbeddedObject,   ///< embedded-object
    ExternalTemplate, ///< external-template
    ExternalTarget,   ///< external-target
};

/// A rule as it is told to users. All texts are UTF-8 and stay valid.
struct Rule {
    RuleId id;
    const char* name; ///< the number in Annex H of ECMA-376-2:2006 ("M1.26", where a later edition dropped them, too),
                      ///< or a name of this library in lower case; it never changes its meaning
    const char* subject; ///< "part-name", "content-types", "xml", "relationships", "interleaving", "zip",
                         ///< "core-properties", "thumbnail", "signatures", "gateway"
    Severity severity;
    const char* summary; ///< what the rule demands, or what a note is about, in one sentence
    const char* remedy;  ///< how a package that breaks it is mended, in one sentence
};

/// All rules in the order of `RuleId`. May be called from any thread, as all functions here.
OPCRAFT_API std::vector<Rule> getAllRules();

OPCRAFT_API const Rule& getRule(RuleId id) noexcept;

/// @return null when no rule has this name.
OPCRAFT_API const Rule* findRule(std::string_view name) noexcept;

} // namespace opc
