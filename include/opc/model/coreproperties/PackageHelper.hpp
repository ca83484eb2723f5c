// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/URI.hpp>
#include <opc/model/coreproperties/CoreProperties.hpp>

#include <string>
#include <vector>

namespace opc::model {

class Package;
class Part;

/// Well-known names, and the edits that touch a relationship and its target together. It has no state; what the
/// functions throw beyond what is said here are the errors of `Package`, `Part` and `RelationshipSource`, unchanged.
class OPCRAFT_API PackageHelper {
public:
    PackageHelper() = delete;

    /// "/"
    static URI getPackageRootURI();
    /// The name that new core properties get.
    static URI getCorePropertiesURI();
    /// The usual name of a thumbnail.
    /// @param extension with or without its dot; may be empty.
    /// @throws InvalidURI when the extension cannot stand in a URI.
    static URI getThumbnailURI(const std::u16string& extension);
    static ContentType getRelationshipContentType();
    static ContentType getCorePropertiesContentType();
    static std::u16string getCorePropertiesRelationshipType();
    static std::u16string getThumbnailRelationshipType();

    /// The types by which files relate core properties: the one of ECMA-376-2 Annex E, which all other functions mean
    /// that are given none, and those that some office programs write in its place:
    /// "http://schemas.openxmlformats.org/officedocument/2006/relationships/metadata/core-properties", also with
    /// "officeDocument".
    static std::vector<std::u16string> getCorePropertiesRelationshipTypes();

    /// The first of these types that an open package has a relationship of; that of Annex E when it has none.
    /// `deleteRelationshipsAndTargets` takes it, too.
    /// @throws PackageNotOpen
    static std::u16string findCorePropertiesRelationshipType(const Package& package);

    /// The core properties of an open package; empty when it has none.
    /// @throws InvalidPartContent when the part is not valid XML by its schema or breaks a rule of ECMA-376-2 §8.
    /// @throws PartNotFound when the relationship leads to no part.
    static CoreProperties getCoreProperties(const Package& package);
    /// As above, of the part that the first relationship of a type leads to.
    static CoreProperties getCoreProperties(const Package& package, const std::u16string& type);

    /// Writes the core properties into the part that has them, or into a new part that is related to the package. In a
    /// package that is open for creation, where nothing can be deleted, the part that a failed call left is used.
    /// @throws PackageNotOpen, PackageReadOnly
    /// @throws InvalidPartContent when a text holds a character that XML cannot carry, a keyword's language is no
    ///         language tag, or a time is special (an infinity or no time at all). The package is as it was then.
    /// @throws PartNotFound when the relationship leads to no part; what `Package::createPart`, `getOutputStream` and
    ///         the store throw. A new part is taken back then.
    static void createOrUpdateCoreProperties(Package& package, const CoreProperties& properties);
    /// As above, into the part that the first relationship of a type leads to, or a new one that is related by it.
    static void createOrUpdateCoreProperties(Package& package, const CoreProperties& properties,
                                             const std::u16string& type);

    /// Deletes the core properties and the relationship to them; nothing when there are none.
    /// An error stops half-way: the relationship is deleted before its target is looked for.
    static void deleteCoreProperties(Package& package);

    /// Deletes every relationship of a type of the package, in the order of their IDs, and with each the part it leads
    /// to. An error stops half-way: the relationship is deleted before its target is looked for.
    static void deleteRelationshipsAndTargets(Package& package, const std::u16string& type);
    /// As above, for the relationships of a part.
    static void deleteRelationshipsAndTargets(Package& package, Part& part, const std::u16string& type);
};

} // namespace opc::model
