// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Findings.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/URI.hpp>
#include <opc/model/coreproperties/CoreProperties.hpp>

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace opc::model {

class Package;
class Part;
struct CoreProperty;

/// Well-known names, and changes of a relationship together with its target. It has no state; what the
/// functions throw beyond what is said here are the errors of `Package`, `Part` and `RelationshipSource`, unchanged.
class OPCRAFT_API PackageHelper {
public:
    PackageHelper() = delete;

    /// "/"
    static URI getPackageRootURI();
    /// The name of new core properties parts.
    static URI getCorePropertiesURI();
    /// The usual name of a thumbnail.
    /// @param extension with or without its dot; may be empty.
    /// @throws InvalidURI when the extension is not allowed in a URI.
    static URI getThumbnailURI(const std::u16string& extension);
    static URI getThumbnailURI(std::string_view extension) { return getThumbnailURI(fromUTF8(extension)); }
    static ContentType getRelationshipContentType();
    static ContentType getCorePropertiesContentType();
    static std::u16string getCorePropertiesRelationshipType();
    static std::u16string getThumbnailRelationshipType();

    /// The relationship types of core properties in files: the one of ECMA-376-2 Annex E, which is the default of all
    /// other functions, and those that some office programs write instead:
    /// "http://schemas.openxmlformats.org/officedocument/2006/relationships/metadata/core-properties", also with
    /// "officeDocument".
    static std::vector<std::u16string> getCorePropertiesRelationshipTypes();

    /// The first of these types that an open package has a relationship of; that of Annex E when it has none.
    /// Also an argument for `deleteRelationshipsAndTargets`.
    /// @throws PackageNotOpen
    static std::u16string findCorePropertiesRelationshipType(const Package& package);

    /// The core properties of an open package; empty when it has none.
    /// @throws InvalidPartContent when the part is not valid XML by its schema or breaks a rule of ECMA-376-2 §8.
    /// @throws PartNotFound when the target of the relationship does not exist.
    static CoreProperties getCoreProperties(const Package& package);
    /// As above, of the target of the first relationship of a type.
    static CoreProperties getCoreProperties(const Package& package, const std::u16string& type);

    /// As above; what is wrong in the part is handed to the sink, without `Finding::blocks`, and hides nothing but
    /// itself. Of several elements for one property none is read.
    /// @throws InvalidPartContent for an exceeded limit for XML.
    /// @throws PartNotFound when the target of the relationship does not exist; what the sink throws.
    static CoreProperties getCoreProperties(const Package& package, const std::u16string& type, FindingSink& sink);

    /// Writes the core properties into the part that has them, or into a new part that is related to the package. In a
    /// package that is open for creation, where nothing can be deleted, the part of a failed call is used.
    /// @throws PackageNotOpen, PackageReadOnly
    /// @throws InvalidPartContent when a text has a character that XML excludes, a keyword's language is not a
    ///         language tag, or a time is special (an infinity or not-a-date-time). The package is unchanged then.
    /// @throws PartNotFound when the target does not exist; what `Package::createPart`, `getOutputStream` and
    ///         the store throw. A new part is deleted again then.
    static void createOrUpdateCoreProperties(Package& package, const CoreProperties& properties);
    /// As above, into the target of the first relationship of a type, or a new part that is related by it.
    static void createOrUpdateCoreProperties(Package& package, const CoreProperties& properties,
                                             const std::u16string& type);

    /// Gives some core properties the values that they have in `properties`, or none, in the part that is the target of
    /// the first relationship of a type. All else in the part stays as it is stored: the texts of other properties,
    /// such as a time with more digits than the time type has, comments and white space. Without a relationship this is
    /// `createOrUpdateCoreProperties`, unless there is nothing to write.
    /// @param changed of `getAllCoreProperties`.
    /// @return false when the part has these values already; then nothing is written.
    /// @throws InvalidPartContent for a part that is not valid, and as `createOrUpdateCoreProperties`.
    static bool updateCoreProperties(Package& package, const CoreProperties& properties,
                                     const std::set<const CoreProperty*>& changed, const std::u16string& type);

    /// As above, also for a part in which something is wrong, which is handed to the sink: a property that changes is
    /// right then, and all else stays as it is.
    /// @throws InvalidPartContent when the part is no XML without a document type, for an exceeded limit for XML, and
    ///         as `createOrUpdateCoreProperties`.
    static bool updateCoreProperties(Package& package, const CoreProperties& properties,
                                     const std::set<const CoreProperty*>& changed, const std::u16string& type,
                                     FindingSink& sink);

    /// Deletes the core properties and the relationship to them; nothing when there are none.
    /// An error stops half-way: the relationship is deleted before its target is searched.
    static void deleteCoreProperties(Package& package);

    /// Deletes every relationship of a type of the package, in the order of their IDs, each with its
    /// target. An error stops half-way: the relationship is deleted before its target is searched.
    static void deleteRelationshipsAndTargets(Package& package, const std::u16string& type);
    /// As above, for the relationships of a part.
    static void deleteRelationshipsAndTargets(Package& package, Part& part, const std::u16string& type);
};

} // namespace opc::model
