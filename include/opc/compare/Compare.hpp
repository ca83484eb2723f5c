// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace opc::interfaces {
class IPhysicalPackage;
}

namespace opc::model {
class DigitalSignatureManager;
class Package;
} // namespace opc::model

namespace opc::compare {

/// An open package and what belongs to it. A value that owns nothing; what it points to outlives its use.
struct ComparedPackage {
    const model::Package* package = nullptr; ///< not null, open for reading, without changes

    /// Where it is stored. Items that are not parts are compared when both stores implement
    /// `interfaces::IPhysicalItems`. Null: they are not.
    interfaces::IPhysicalPackage* store = nullptr;

    /// Of the package, for all forms of signatures. Null: signatures are compared as the parts that they are only.
    const model::DigitalSignatureManager* signatures = nullptr;
};

/// What counts as a difference. A value without invariants.
struct CompareOptions {
    /// An Id of a relationship in XML counts by where the relationship leads alone.
    bool ignoresIds = false;
    /// The children of an XML element count in any order.
    bool ignoresOrder = false;
    /// The core properties part and the relationships to it are left out.
    bool ignoresCoreProperties = false;
    /// Signatures, their parts and the relationships to them are left out.
    bool ignoresSignatures = false;

    /// Which parts and items are compared, by their names in either package: "/word/document.xml", "/[trash]/0000.dat".
    /// With it signatures are not compared. Without it everything is.
    std::function<bool(const std::string& name)> isCompared{};

    std::size_t context = 3;                      ///< equal lines around differences
    std::uint64_t linesSize = 8UL * 1024 * 1024;  ///< bytes of a part, printed, up to which its lines are compared
    std::uint64_t lineComparisons = 5'000'000;    ///< up to which the lines of a part are brought in line
    std::uint64_t bytesSize = 64UL * 1024 * 1024; ///< bytes of a part in which the first that differs is searched
};

enum class DifferenceKind { Added, Removed, Renamed, Changed };

/// One line of a hunk: in both packages (' '), in the first ('-') or in the second one ('+'). UTF-8.
struct DifferenceLine {
    char side = ' ';
    std::string text{};
};

/// Lines that differ, with the equal ones around them. Lines are those of the printed XML (`printPretty`), the first
/// being 1; of no lines, the one before.
struct DifferenceHunk {
    std::size_t firstBefore = 0;
    std::size_t countBefore = 0;
    std::size_t firstAfter = 0;
    std::size_t countAfter = 0;
    std::vector<DifferenceLine> lines{};
};

/// A part as one of the packages has it.
struct PartState {
    std::string name{};
    std::string contentType{}; ///< the effective one, normalized
    std::uint64_t size = 0;    ///< bytes
    std::string sha256{};      ///< of the bytes, in hexadecimal
};

/// How the content of a part that is in both packages differs.
enum class ContentDifference {
    None,     ///< at most in what has no meaning; so are core properties, whose values are compared
    Xml,      ///< in what the XML says
    TooLarge, ///< as XML, in more than is compared line by line
    Bytes,    ///< in bytes of what is not XML, or cannot be read as such
};

/// A part that is in one package only, or differs. `before` is set unless it was added, `after` unless it was removed.
struct PartDifference {
    DifferenceKind kind = DifferenceKind::Changed; ///< `Renamed` when nothing but the name may differ
    std::optional<PartState> before{};
    std::optional<PartState> after{};
    bool differsInType = false; ///< whether the content types mean different ones
    ContentDifference content = ContentDifference::None;
    std::vector<DifferenceHunk> hunks{}; ///< of XML, where it differs in lines
    std::size_t linesRemoved = 0;
    std::size_t linesAdded = 0;
    /// The offset of the first byte that differs; for `Bytes`, unless it lies beyond what is searched.
    std::optional<std::uint64_t> firstByte{};
    std::string reason{}; ///< why XML is compared by bytes, or how it differs other than in lines; else empty
};

/// A relationship that only one of the packages has. Relationships are equal when source, type, resolved target and
/// mode are, where renamed parts count as the same. Their Ids do not count; but a part differs when an Id in it leads
/// to something else, or when it is not XML and all of its relationships are there with other Ids.
struct RelationshipDifference {
    DifferenceKind kind = DifferenceKind::Added; ///< or `Removed`
    std::string source{};                        ///< a part name, "/" for the package
    std::string id{};
    std::string type{};
    std::string target{}; ///< of an internal one, resolved
    bool isExternal = false;
    std::string problem{}; ///< why it is no relationship, but an entry that is kept as it stands; else empty
};

/// A core property with different values. A missing one has none; dates are in UTC.
struct PropertyDifference {
    std::string name{};
    std::optional<std::string> before{};
    std::optional<std::string> after{};
};

/// A stored item that is not a part, in one package only or with other bytes.
struct ItemDifference {
    DifferenceKind kind = DifferenceKind::Changed; ///< but not `Renamed`
    std::string name{};
    std::uint64_t sizeBefore = 0;
    std::uint64_t sizeAfter = 0;
};

enum class SignatureChange {
    Broken,  ///< it held in the first package, and does not in the second one
    Removed, ///< its part is not in the second package, and its content in no other part
    Added,
    Mended, ///< it does not hold in the first package, and does in the second one
};

/// A signature that does not stand as it did. Whether it holds says nothing about who signed: certificates are not
/// judged.
struct SignatureDifference {
    SignatureChange change = SignatureChange::Broken;
    std::string part{}; ///< the name of the signature part in the package that has it; if both do, in the first one
    bool heldBefore = false; ///< for `Removed`
    bool holdsAfter = false; ///< for `Added`
    std::string reason{};    ///< why it does not hold where it does not; else empty
};

/// How two packages differ. Equal packages have none of the following. In the order of names and sources; added parts
/// and items stand among the others by the names that they have there. All texts are UTF-8.
struct OPCRAFT_API DifferenceReport {
    std::vector<PartDifference> parts{};
    std::vector<RelationshipDifference> relationships{};
    std::vector<PropertyDifference> properties{};
    std::vector<ItemDifference> items{};
    std::vector<SignatureDifference> signatures{};
    std::size_t comparedParts = 0; ///< in both packages

    bool isEqual() const noexcept;
};

/// Compares two packages by their meaning. Not differences are: the order of items, parts, relationships and
/// attributes, compression, a Default for an Override, the case of part names, prefixes and comments of XML, and how a
/// target is written.
///
/// A part is renamed when the first package alone has its name, and there is exactly one part in either package with
/// its bytes and content type. XML is a part with a media type of XML, or that begins with an XML declaration; whether
/// it differs is told by its canonical form without comments, for which white space counts. Core properties are
/// compared by their values, where both packages have them without faults.
///
/// Signatures are verified without judging who signed. Constant memory is used but for the names, the relationships and
/// the lines of one part at a time. Parts are read on several threads where the store does
/// (`interfaces::IPhysicalParallelReading`).
/// @throws opc::Exception what the packages and their stores throw when they are read.
OPCRAFT_API DifferenceReport compare(const ComparedPackage& before, const ComparedPackage& after,
                                     const CompareOptions& options = {});

} // namespace opc::compare
