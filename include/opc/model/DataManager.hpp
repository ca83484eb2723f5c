// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <string>
#include <vector>

namespace opc::model {

class Package;

/// Keeps side data of a package, which lives in parts and relationships of its own, in memory between open and close.
///
/// It registers itself with its package, which it does not own, and is destroyed before it. Used by the
/// thread that uses the package. A flush of the package saves every manager before anything else is written, so that
/// parts and relationships that a save creates are written by the same flush; a close with discard saves nothing.
class OPCRAFT_API DataManager {
public:
    /// Unregisters itself from its package.
    virtual ~DataManager();

protected:
    /// Reads the data from the package. Exceptions pass to the caller; the data is not loaded then.
    virtual void doLoad() = 0;
    /// Writes the data to the package. Exceptions pass to the caller; the data stays dirty then.
    virtual void doSave() = 0;
    /// The names of the parts that the manager owns.
    virtual std::vector<std::u16string> doGetManagedPartNames() const = 0;
    /// The types of the relationships that the manager owns.
    virtual std::vector<std::u16string> doGetManagedRelationshipTypes() const = 0;

public:
    DataManager(const DataManager&) = delete;
    DataManager& operator=(const DataManager&) = delete;

    /// Loads unless the data is in memory already.
    void load();
    /// Saves if the data is dirty.
    void save();
    /// Called by the package when it is flushed: `save`.
    void flush();
    /// Marks the data in memory as changed, to be saved by the next flush.
    void markAsDirty();

    Package& getPackage() const noexcept { return package_; }
    std::vector<std::u16string> getManagedPartNames() const;
    std::vector<std::u16string> getManagedRelationshipTypes() const;

protected:
    /// @param package outlives the manager.
    /// @param loadOnOpen true: the data is read as soon as the package opens; false: by the first `load`.
    /// @throws PackageAlreadyOpen when the package is open.
    DataManager(Package& package, bool loadOnOpen);

private:
    friend class Package;

    /// Called by the package when it was opened. A created package has nothing to load and everything to save.
    void open(bool createOnly);

    Package& package_;
    bool loadOnOpen_;
    bool needsLoad_ = true;
    bool dirty_ = true;
};

} // namespace opc::model
