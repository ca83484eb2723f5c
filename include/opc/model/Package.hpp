// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Findings.hpp>
#include <opc/core/Limits.hpp>
#include <opc/core/interfaces/CompressionType.hpp>
#include <opc/core/interfaces/OpenMode.hpp>
#include <opc/model/LeftOutPart.hpp>
#include <opc/model/Part.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/relationships/ExcludeMode.hpp>
#include <opc/model/relationships/RelationshipSource.hpp>

#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace opc::interfaces {
class IPhysicalPackage;
class IPhysicalPartInfo;
} // namespace opc::interfaces

namespace opc::model {

class ContentTypeSource;
class DataManager;
class PartNameTree;
class Reading;
class RelationshipSerializer;

/// A package of parts and relationships (ECMA-376-2 §6) over a physical package.
///
/// It does not own the physical package, which outlives it. It is the source of the package relationships.
/// Starts closed, and can be opened and closed any number of times; destroying it while it is open discards
/// what was not flushed and closed. Used by one thread at a time, together with all objects that it returns.
class OPCRAFT_API Package final : public RelationshipSource {
public:
    /// @param limits those for XML count: they bound the content types, relationships and core properties that are
    ///        read. A document that exceeds one is refused like a malformed one.
    explicit Package(interfaces::IPhysicalPackage& physicalPackage, const Limits& limits = {});
    /// Closes with discard. Data managers are destroyed before their package.
    ~Package() override;

    Package(const Package&) = delete;
    Package& operator=(const Package&) = delete;

    /// Always true.
    bool isValid() const override;
    bool isOpen() const override;
    const Limits& getLimits() const noexcept { return limits_; }
    bool isReadOnly() const override;
    /// Also true of a package that was never opened.
    bool isCreateOnly() const override;
    Package& getPackage() const override;

protected:
    void doVerifyRelationship(const std::u16string& id, const std::u16string& type,
                              const std::u16string& target) override;

public:
    /// Opens the physical package, reads its content types and relationships and lets the data managers load. A
    /// failed open leaves both closed.
    /// @throws PackageAlreadyOpen
    /// @throws PackageNotFound when the physical package reports a missing file (ENOENT).
    /// @throws PackageOpenFailed for any other physical failure, with its code.
    /// @throws InvalidXMLDocument, InvalidContentTypeStream, InvalidContentType for a malformed content types stream.
    /// @throws InvalidURI, InvalidPartName for a stored name that is not a part name.
    /// @throws ContentTypeNotFound for a part without a content type.
    /// @throws InvalidRelationshipContent for a malformed relationships part.
    /// @throws InconsistentPackage for a relationships part without its source, and for two parts with equivalent
    ///         names. Of two relationships parts with equivalent names the later one is used; the other one is kept as
    ///         long as this one.
    /// @throws InvalidCorePropertiesRelationships for more than one core properties relationship.
    void open(interfaces::OpenMode mode);

    /// Opens a package in which something is wrong, as far as it can be read. What `open` without a sink refuses is
    /// handed to the sink, each with `Finding::blocks`, and the package is opened without it:
    /// - An element of the content types stream or of a relationships part that is wrong is kept as it stands; of
    ///   relationships with the same Id none is chosen. See `RelationshipSource::getRawRelationships`.
    /// - Attributes that the root must not have are kept when the document is written anew.
    /// - A relationships part of which nothing can be read, or that is damaged, stays as it is. See
    ///   `RelationshipSource::hasUnreadableRelationships`. After 10,000 elements of the package that are wrong or
    ///   unusual, the next documents with such elements count as unreadable, to bound the work.
    /// - With such a content types stream there are no parts, and none can be created; the relationships of the package
    ///   are read.
    /// - What is no part by its name or for lack of a content type, parts with equivalent names and relationships parts
    ///   without their source are left out. They stay in the store, and no new part takes their names.
    /// - Of several core properties relationships all are there.
    /// A package that is closed without a change keeps all bytes; what is changed is written without loss, but for
    /// text, comments and processing instructions between the elements. Physical packages that implement
    /// `interfaces::IPhysicalFindings` are opened tolerantly, too.
    /// @param sink used during this call only.
    /// @throws PackageAlreadyOpen, PackageNotFound, PackageOpenFailed
    /// @throws InvalidXMLDocument, InvalidRelationshipContent for an exceeded limit for XML; what the sink throws.
    void open(interfaces::OpenMode mode, FindingSink& sink);

    /// The content types stream and the relationships parts of which something is kept as it stands, or that cannot be
    /// read, in a package that was opened with a sink for findings; none otherwise. No signature covers what is in
    /// them.
    /// @throws PackageNotOpen
    std::vector<std::u16string> getItemsNotReadWhole() const;

    /// Flushes, unless the package is read-only or `discard` is true, and closes. Nothing when it is not open.
    /// After a failure the package is still open and the close can be tried again.
    /// @throws PackagePermissionDenied when the physical package is denied permission (EACCES).
    /// @throws PackageCloseFailed for any other physical failure, with its code; and what `flush` throws.
    void close(bool discard = false);

    /// Writes what changed to the physical package: the data managers, the content types stream, the package
    /// relationships, the relationships of the parts, in that order.
    /// @throws PackageNotOpen, PackageReadOnly
    /// @throws InvalidContentTypeStream when the content types stream cannot be written.
    /// @throws InvalidPartContent when relationships cannot be written; InvalidPartStream when the physical package
    ///         does not deliver the stream of a relationships part; opc::Exception, with its code, when it refuses the
    ///         bytes; and what data managers throw.
    void flush();

    /// Creates an empty part.
    /// @throws PackageNotOpen, PackageReadOnly
    /// @throws InvalidPartName for a name that was constructed unchecked and breaks a rule, and for the package root.
    /// @throws PartHasRelationshipName for the name of a relationships part.
    /// @throws PartAlreadyExists when an equivalent name exists.
    /// @throws PartIsDerivedFromExistingPartName when one of the two names contains the other as a path.
    /// @throws InvalidContentType when the content type's text could not be read back.
    /// @throws PartCreateFailed when the physical package refuses; for a name of what was left out when the package was
    ///         opened with a sink for findings; and when its content types cannot be read.
    Part createPart(const PartName& name, const ContentType& contentType, const interfaces::IPhysicalPartInfo& info);
    /// The same with `StandardPartInfo`.
    Part createPart(const PartName& name, const ContentType& contentType,
                    interfaces::CompressionType compression = interfaces::CompressionType::Normal);

    /// Deletes a part and its relationships part. Relationships that point at the part stay.
    /// @throws PackageNotOpen, PackageReadOnly, PackageCreateOnly, PartNotFound
    /// @throws PartDeleteFailed when the physical package refuses. Once the part itself is deleted, the deletion of its
    ///         relationships part is tried again before every later creation and deletion, which do not throw when it
    ///         fails again (unless they need its name), and by every flush, which does.
    void deletePart(const PartName& name);

    /// Gives a part another name, and its relationships part with it. Content, content type and place in the store
    /// stay. Its own relationships lead where they led, and those to itself to its new name: relative targets are
    /// written anew where they have to be, relative as before. Relationships of others that lead to the part are not
    /// changed (`edit::movePart` does that). Where the store does not implement `interfaces::IPhysicalRenaming`, the
    /// content is copied to a new part and the old one deleted, by way of memory when the names are equivalent. The
    /// handles on the part and its streams become invalid.
    /// @param newName may differ from the old name in case alone.
    /// @throws PackageNotOpen, PackageReadOnly, PackageCreateOnly, PartNotFound
    /// @throws InvalidPartName, PartHasRelationshipName, PartAlreadyExists, PartIsDerivedFromExistingPartName as
    ///         `createPart`.
    /// @throws InvalidRelationshipContent when its relationships part was not read whole, or would exceed the
    ///         limits for XML.
    /// @throws PartCreateFailed when a data manager owns the part or the new name; for a name of what was left out when
    ///         the package was opened; and when the physical package refuses, or fails to copy: then the package is to
    ///         be closed with `discard`, since the store may have both parts, or for equivalent names neither.
    Part renamePart(const PartName& name, const PartName& newName);

    /// Gives a part another content type. Its name, content and relationships stay. Where the physical package has no
    /// content types stream, the part is made anew, by way of memory: then streams of the part become invalid.
    /// @throws PackageNotOpen, PackageReadOnly, PackageCreateOnly, PartNotFound
    /// @throws InvalidContentType as `createPart`.
    /// @throws PartCreateFailed when the physical package refuses; then the package is to be closed with `discard`.
    void changeContentType(const PartName& name, const ContentType& contentType);

    /// @throws PackageNotOpen, PartNotFound
    Part getPart(const PartName& name) const;
    /// @throws PackageNotOpen
    bool hasPart(const PartName& name) const;
    /// In the order of their names, without relationships parts.
    /// @param mode ExcludeManaged leaves out the parts that a data manager owns.
    /// @throws PackageNotOpen
    std::vector<Part> getParts(ExcludeMode mode = ExcludeMode::IncludeAll) const;
    /// All parts, as the above, without a copy. A part stays where it is until it is renamed or deleted, and all until
    /// the package is closed; what is created meanwhile may be in the range or not.
    /// @throws PackageNotOpen
    ValueRange<PartName, Part> parts() const;

    /// The part that an internal relationship of this package or of one of its parts leads to, its query and fragment
    /// left out; nothing when it is external, or there is no such part.
    /// @throws PackageNotOpen
    std::optional<Part> findTarget(const Relationship& relationship) const;

    /// What is left out of a package that was opened with a sink for findings, although the store has it as a part:
    /// parts without a content type or with equivalent names, and relationships parts of what is no part. Each stays in
    /// the store as it is, and keeps its name. What the store itself does not take for a part is not among them.
    /// @throws PackageNotOpen
    std::vector<LeftOutPart> getLeftOutParts() const;

    /// Called by a data manager's constructor. Managers are not owned.
    /// @throws PackageAlreadyOpen
    void addDataManager(DataManager* manager);
    /// Called by a data manager's destructor; nothing when it is not registered.
    void removeDataManager(DataManager* manager) noexcept;
    /// The names and types of all data managers.
    std::unordered_set<std::u16string> getManagedPartNames() const;
    std::unordered_set<std::u16string> getManagedRelationshipTypes() const;

private:
    friend class PartDigester;
    friend class RelationshipSource;

    using PartMap = std::map<PartName, Part>;
    using Names = std::list<PartName>;
    using PhysicalPartMap = std::map<PartName, interfaces::IPhysicalPart*, std::less<>>;

    RelationshipSerializer& getRelationshipSerializer() const noexcept { return *relationshipSerializer_; }

    struct StoredParts;

    void open(interfaces::OpenMode mode, FindingSink* sink);
    void openPhysicalPackage(interfaces::OpenMode mode, FindingSink* sink);
    void initializeParts(const Reading& reading);
    StoredParts collectParts(const Reading& reading);
    void collectRelationshipsPart(const PartName& name, interfaces::IPhysicalPart& physicalPart, const Reading& reading,
                                  StoredParts& stored);
    void collectPart(const PartName& name, interfaces::IPhysicalPart& physicalPart, const Reading& reading,
                     StoredParts& stored);
    std::optional<ContentType> findContentType(const PartName& name, const interfaces::IPhysicalPart& physicalPart,
                                               RuleId rule, const Reading& reading);
    void leaveOut(const PartName& name, const std::string& reason, StoredParts& stored);
    static void attachRelationships(RelationshipSource& source, const PartName& name, StoredParts& stored,
                                    const Reading& reading);
    void checkCorePropertiesRelationships(const Reading& reading) const;
    void throwIfLeftOut(const PartName& name) const;
    ContentType lookUpContentType(const PartName& name, const interfaces::IPhysicalPart& physicalPart,
                                  bool takeReference = true);
    void abandon() noexcept;
    void clear() noexcept;

    interfaces::IPhysicalPart* createPartInternal(const PartName& name, const ContentType& contentType,
                                                  const interfaces::IPhysicalPartInfo& info);
    void throwIfNotRenameable(const Part& part, const PartName& newName) const;
    interfaces::IPhysicalPart* moveStored(interfaces::IPhysicalPart& physicalPart, const PartName& newName,
                                          const ContentType& contentType, bool& isLost);
    interfaces::IPhysicalPart* copyStored(interfaces::IPhysicalPart& physicalPart, const PartName& newName,
                                          const ContentType& contentType, bool& isLost);
    void moveRelationshipsPart(const Part& part, Part& moved, const std::u16string& key);
    void forget(Part& part, const std::u16string& key) noexcept;
    /// The name of a part in the store, to delete it.
    static PartName storedNameOf(const interfaces::IPhysicalPart& physicalPart);
    void deletePartInternal(const PartName& name);
    bool isStored(const PartName& name);
    void deleteRelationshipsPart(const PartName& name);
    void deleteRelationshipsOfDeleted(Names& relationships);
    void deleteOrphan(Names::iterator orphan);
    void deleteOrphans();
    void tryToDeleteOrphans() noexcept;
    void orphanHidden(const PartName& name) noexcept;
    void throwIfOrphan(const PartName& name);
    const Part& findPart(const PartName& name) const;
    template <class Action>
    void forEachDataManager(Action action) {
        for (auto next = dataManagers_.begin(); next != dataManagers_.end();)
            action(**next++); // which may remove itself from the list
    }
    void flushPackage();
    void flushParts();
    void clearParts() noexcept;

    void throwIfRelationshipName(const PartName& name) const;
    void throwIfPartAlreadyExists(const PartName& name) const;
    void throwIfDerivedFromExistingPartName(const PartName& name, const std::u16string& leftOut = {}) const;
    void throwIfTooManyCorePropertiesRelationships(unsigned long allowed) const;

    interfaces::IPhysicalPackage& physicalPackage_;
    Limits limits_;
    bool isOpen_ = false;
    interfaces::OpenMode mode_ = interfaces::OpenMode::CreateOnly;
    PartMap parts_;
    Names orphans_; // relationships parts of deleted parts, until they are deleted too
    std::vector<LeftOutPart> leftOut_;
    Names hidden_; // relationships parts that a later one of an equivalent name hides
    std::unique_ptr<PartNameTree> prefixes_;
    std::unique_ptr<ContentTypeSource> contentTypeSource_;
    std::unique_ptr<RelationshipSerializer> relationshipSerializer_;
    std::list<DataManager*> dataManagers_;
};

} // namespace opc::model
