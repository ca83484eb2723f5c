// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/model/URI.hpp>
#include <opc/model/ValueRange.hpp>
#include <opc/model/relationships/ExcludeMode.hpp>
#include <opc/model/relationships/RawRelationship.hpp>
#include <opc/model/relationships/Relationship.hpp>

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace opc::interfaces {
class IPhysicalPart;
}

namespace opc::model {

class ContentType;
class Package;
class Part;
class PartName;
class Reading;
class RelationshipManager;

/// An owner of relationships (ECMA-376-2 §6.5): a package or a part.
///
/// A handle: copies share the relationships. Used by one thread at a time, together with its package.
///
/// Every query throws `InvalidObject` when the part was deleted or its package closed, and `PackageNotOpen` when the
/// package is not open. Every change throws these and `PackageReadOnly`. All checks come before any change: a
/// refused call changes nothing, except that the number of a generated ID is used up when the package itself refuses
/// the relationship.
class OPCRAFT_API RelationshipSource {
public:
    RelationshipSource(const RelationshipSource& other);

    virtual ~RelationshipSource();

    /// False once the part was deleted or its package closed.
    virtual bool isValid() const = 0;
    virtual bool isOpen() const = 0;
    virtual bool isReadOnly() const = 0;
    virtual bool isCreateOnly() const = 0;
    /// The package that this is, or belongs to. For a part, only while it is valid.
    virtual Package& getPackage() const = 0;

protected:
    /// Called right before a relationship is added; throws to refuse it.
    /// @param target the target as it will be stored.
    virtual void doVerifyRelationship(const std::u16string& id, const std::u16string& type,
                                      const std::u16string& target);

public:
    /// The part name of the source, "/" for a package.
    URI getSourceURI() const;

    /// The name of the relationships part as it is stored; when there is none, the one that would be created.
    PartName getRelationshipsPartName() const;
    /// The content type of the relationships part; when there is none, the content type with which it would be
    /// created. Nothing else depends on it: relationships parts are recognized by their names.
    /// @throws ContentTypeNotFound in a package that was opened with a sink for findings, when there is none.
    ContentType getRelationshipsContentType() const;

    /// The bytes of the relationships part as it is stored; empty when there is none.
    /// @throws InvalidRelationshipContent when the relationships were changed since the last flush.
    /// @throws opc::Exception what the store throws.
    std::vector<unsigned char> readRelationshipsPart() const;

    /// In ascending order of IDs (code units), as all listings.
    /// @param mode ExcludeManaged omits the types that a data manager owns.
    std::vector<Relationship> getRelationships(ExcludeMode mode = ExcludeMode::IncludeAll) const;
    /// Those whose type is exactly the given one, case-sensitively.
    std::vector<Relationship> getRelationshipsByType(const std::u16string& type) const;
    /// @throws RelationshipNotFound
    Relationship getRelationshipByID(const std::u16string& id) const;
    bool hasRelationship(const std::u16string& id) const;
    // The same in UTF-8, as `fromUTF8` reads it.
    std::vector<Relationship> getRelationshipsByType(std::string_view type) const;
    Relationship getRelationshipByID(std::string_view id) const;
    bool hasRelationship(std::string_view id) const;

    /// All of them, in the order of their IDs, without a copy. A relationship stays where it is until it is changed or
    /// deleted, and all until the package is closed; what is created meanwhile may be in the range or not.
    /// They are those of the source, whose caches `Relationship::getTargetURI` fills.
    ValueRange<std::u16string, Relationship> relationships() const;

    /// Relates this source to a part, which need not exist. The target is stored relative to the source, with
    /// its query and fragment.
    /// @param target a part name, or a reference relative to the source.
    /// @param id empty for a generated one: "rId" and the next free number, never one that was used before.
    /// @throws InvalidRelationshipTarget when the target has a scheme, is not a part name, names a relationships
    ///         part, or is the source.
    /// @throws UnsupportedRelativize when the target's path is that of the source.
    /// @throws InvalidRelationshipType when the type is empty or not a URI.
    /// @throws InvalidRelationshipID when the ID is not an xsd:ID.
    /// @throws RelationshipAlreadyExists when the ID is in use.
    /// @throws InvalidCorePropertiesRelationships when it would be a package's second core properties relationship.
    /// @throws InvalidRelationshipContent when the relationships part would exceed the limits for XML, so that it
    ///         could not be read again.
    /// @throws PartCreateFailed when the relationships part of a first relationship cannot be created.
    Relationship createInternalRelationship(const std::u16string& type, const URI& target,
                                            const std::u16string& id = std::u16string());

    /// Relates this source to something outside the package. The target is stored as given.
    /// @throws InvalidRelationshipTarget when the target, its backslashes read as slashes, is not a LEIRI; and when a
    ///         reader would refuse it: when it is empty or not an xsd:anyURI.
    /// @throws InvalidRelationshipType, InvalidRelationshipID, RelationshipAlreadyExists,
    ///         InvalidCorePropertiesRelationships, InvalidRelationshipContent, PartCreateFailed as for an internal
    ///         relationship.
    Relationship createExternalRelationship(const std::u16string& type, const std::u16string& target,
                                            const std::u16string& id = std::u16string());

    // The same in UTF-8, as `fromUTF8` reads it.
    Relationship createInternalRelationship(std::string_view type, const URI& target, std::string_view id = {});
    Relationship createInternalRelationship(std::string_view type, const Part& target, std::string_view id = {});
    Relationship createExternalRelationship(std::string_view type, std::string_view target, std::string_view id = {});

    /// Gives an internal relationship another target; ID and type stay.
    /// @param target stored as given: a part name, or a reference relative to the source.
    /// @return the relationship as it is now.
    /// @throws RelationshipNotFound
    /// @throws InvalidRelationshipTarget when the relationship is external, and as for a new one.
    /// @throws InvalidRelationshipContent as for a new one.
    Relationship changeTarget(const std::u16string& id, const URI& target);
    Relationship changeTarget(std::string_view id, const URI& target);

    /// Deletes a relationship, and with the last one the relationships part.
    /// @throws PackageCreateOnly when the package is open for creation.
    /// @throws RelationshipNotFound
    /// @throws PartDeleteFailed when the relationships part cannot be deleted.
    void deleteRelationship(const std::u16string& id);
    void deleteRelationship(std::string_view id);

    /// What a package that was opened with a sink for findings keeps of the relationships part as it stands, since it
    /// is no relationship, in the order of the part; none otherwise. Such an entry counts as one: it keeps its Id and
    /// the relationships part, and stands behind the relationships when these are written anew. To mend one, delete it
    /// and create a relationship with its Id.
    std::vector<RawRelationship> getRawRelationships() const;
    /// Deletes such an entry, and with the last entry the relationships part.
    /// @param index in `getRawRelationships`.
    /// @throws PackageCreateOnly when the package is open for creation.
    /// @throws RelationshipNotFound
    /// @throws PartDeleteFailed when the relationships part cannot be deleted.
    void deleteRawRelationship(std::size_t index);
    /// Whether nothing of the relationships part is kept as it stands, and it can be read.
    bool isRelationshipsPartWhole() const;
    /// Whether there is a relationships part of which nothing can be read. It stays as it is: there are no
    /// relationships then, and every change throws `InvalidRelationshipContent`.
    bool hasUnreadableRelationships() const;

    /// Whether the stored relationships part contains elements only, with nothing between them; true when there is
    /// none.
    /// @throws InvalidXMLDocument, opc::Exception when it cannot be read.
    bool isCompact() const;
    /// Has the relationships part written anew by the next flush, and from then on without white space between its
    /// elements: some programs take white space there for signed. In a package with a signature origin of ECMA-376-2
    /// Annex E, a part that is compact stays so anyway. Nothing when there are no relationships.
    void makeCompact();

    /// True for an xsd:ID that does not start with one of U+037F to U+1FFF and has no surrogate pairs.
    static bool isValidID(const std::u16string& id) noexcept;
    /// True for a LEIRI (RFC 3987 §7.3 of the revision draft; W3C Note LEIRI), backslashes read as slashes.
    static bool isValidTarget(const std::u16string& target);

protected:
    explicit RelationshipSource(const URI& source);
    RelationshipSource& operator=(const RelationshipSource& other);

    /// Drops the relationships, the relationships part and the number of the next ID.
    void reset() noexcept;
    /// Writes the relationships part when it changed.
    void flush();

    void throwIfInvalid() const;
    void throwIfNotOpen() const;
    void throwIfReadOnly() const;
    void throwIfCreateOnly() const;

private:
    friend class Package;
    class Impl;

    interfaces::IPhysicalPart* getPhysicalRelationshipPart() const noexcept;
    RelationshipManager& getRelationshipManager() const noexcept;
    bool staysCompact() const;

    void throwIfNotChangeable() const;
    void verifyRelationship(std::u16string& id, const std::u16string& type, const std::u16string& target);
    std::u16string generateID();
    Relationship addRelationship(const Relationship& relationship);
    void createRelationshipPartIfNeeded();
    /// Sets the relationships part; null for none.
    void setPhysicalRelationshipPart(interfaces::IPhysicalPart* part) noexcept;
    /// Sets the relationships part and reads it.
    void readRelationshipPart(interfaces::IPhysicalPart& part, const Reading& reading);
    void load(const std::vector<unsigned char>& bytes, const interfaces::IPhysicalPart& part);
    void deletePartOfLastEntry();
    /// Takes over the relationships of a part that gets the name of this one.
    void takeRelationships(const RelationshipSource& former);

    boost::shared_ptr<Impl> impl_;
};

} // namespace opc::model
