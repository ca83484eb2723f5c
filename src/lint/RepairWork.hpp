// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/lint/Repair.hpp>

#include "lint/RepairSnapshot.hpp"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace opc::lint {

/// A Default or an Override of the content types stream.
struct TypeEntry {
    const detail::XmlChild* child;
    detail::XmlTag tag;
    bool isDefault;
    std::string name; ///< as it is mended
    std::string type; ///< the same
    bool isGone = false;
    bool isAmbiguous = false; ///< there is another one for the same name
};

/// What the content types stream says, with what is mended in it.
class RepairTypes {
public:
    /// Reads the stream; without one that can be read there is nothing here.
    void read(RepairSnapshot& snapshot);

    bool isRead() const noexcept { return document_ != nullptr; }
    RepairDocument& getDocument() const noexcept { return *document_; }
    std::vector<TypeEntry>& getEntries() noexcept { return entries_; }
    /// To be called when entries were changed.
    void index();
    /// @return none for a part without a content type.
    std::optional<std::string> find(std::u16string_view partName) const;
    TypeEntry* findEntry(std::u16string_view partName);

    void add(bool isDefault, const std::string& name, const std::string& type);

private:
    using Key = std::pair<bool, std::u16string>;
    const std::string* findType(const Key& key) const;

    RepairDocument* document_ = nullptr;
    std::vector<TypeEntry> entries_;
    std::map<Key, std::size_t> byName_; ///< the index of the entry; names in lower case
    std::map<Key, std::string> added_;  ///< content types
};

/// A repair that is being planned: the package with all changes made so far.
class RepairWork {
public:
    RepairWork(interfaces::IPhysicalItems& store, const RepairOptions& options);

    RepairSnapshot& getSnapshot() noexcept { return snapshot_; }
    RepairTypes& getTypes() noexcept { return types_; }
    const RepairOptions& getOptions() const noexcept { return options_; }
    RepairPlan& getPlan() noexcept { return plan_; }

    /// Whether steps for a rule are wanted.
    bool wants(RuleId rule) const;

    /// Adds a step.
    /// @param isChosen whether what it deletes was chosen otherwise than by the rule.
    /// @return whether to do what it says.
    bool add(RepairStep step, bool isChosen = false);

    /// The parts and items that sign the package.
    const std::vector<std::string>& getSignatures() const noexcept { return signatures_; }
    void findSignatures();
    /// Whether a step changes something, or would if nothing kept the whole repair from being done.
    bool isChanged() const noexcept { return isChanged_; }

    /// Why nothing may be changed at all; empty when it may.
    std::string getRefusal() const;
    /// Makes all steps not apply then.
    void refuseSteps();

    /// What signatures may cover.
    std::set<std::u16string> changedParts{};                                 ///< in lower case
    std::set<std::pair<std::u16string, std::string>> changedRelationships{}; ///< source in lower case, and Id
    std::set<std::u16string> changedExtensions{}; ///< of which the content type is another one
    std::vector<RepairItem*> coreProperties{};    ///< to which the package has relationships
    bool dropsSurroundings = false;
    bool losesSurroundings = false; ///< whether the store could not keep them, and they are not to be dropped

private:
    const RepairOptions& options_;
    RepairSnapshot snapshot_;
    RepairTypes types_;
    RepairPlan plan_;
    std::vector<std::string> signatures_;
    bool isChanged_ = false;
};

/// A finding about an item.
Finding itemFinding(RuleId rule, const RepairItem& item, const std::string& message);

/// A finding about a child of the root of a document.
/// @param attribute empty for the whole element.
Finding childFinding(RuleId rule, const std::string& place, const detail::XmlChild& child, const detail::XmlTag& tag,
                     const std::string& attribute, const std::string& message);

/// The value of an attribute; empty for none.
std::string attributeOf(const detail::XmlTag& tag, std::string_view name);

/// Whether a document has the root of relationships.
bool isRelationships(const RepairDocument& document);

/// Whether the relationships of an item, if it has any, are as they have to be where it is a part.
bool hasWholeRelationships(RepairWork& work, const RepairItem& part);

/// The name with slashes for backslashes, single ones, and none in front.
std::string plainItemName(const std::string& name);

/// A text with everything percent-encoded that is not allowed in a URI. Escapes are kept.
std::string escapedURI(const std::string& text);

/// The content type that items of an extension have in packages; "application/octet-stream" for an unknown one.
std::string contentTypeOfExtension(std::u16string_view extension);

/// The relationship type by which a package relates a part of a content type as its main one; null for none.
const char* mainRelationshipTypeOf(const std::string& contentType);
/// Whether nothing but relationships names parts in packages with such a main part.
bool isNamedByRelationshipsOnly(const std::string& contentType);

// The menders, in their order.
void mendDuplicateItems(RepairWork& work);
void mendItemNames(RepairWork& work);
void mendContentTypes(RepairWork& work);
void mendPackageRelationships(RepairWork& work);
void mendRelationships(RepairWork& work);
void mendUntypedItems(RepairWork& work);
void mendCoreProperties(RepairWork& work);
/// @param findings of the store.
void mendArchive(RepairWork& work, const std::vector<Finding>& findings);

} // namespace opc::lint
