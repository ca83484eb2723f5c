// SPDX-License-Identifier: Apache-2.0
#include <opc/model/DataManager.hpp>

#include <opc/model/Package.hpp>

namespace opc::model {

DataManager::DataManager(Package& package, bool loadOnOpen) : package_(package), loadOnOpen_(loadOnOpen) {
    package.addDataManager(this);
}

DataManager::~DataManager() {
    package_.removeDataManager(this);
}

void DataManager::open(bool createOnly) {
    dirty_ = createOnly;
    needsLoad_ = !createOnly;
    if (loadOnOpen_)
        load();
}

void DataManager::load() {
    if (!needsLoad_)
        return;
    doLoad();
    needsLoad_ = false;
    dirty_ = false;
}

void DataManager::save() {
    if (!dirty_)
        return;
    doSave();
    dirty_ = false;
}

void DataManager::flush() {
    save();
}

void DataManager::markAsDirty() {
    needsLoad_ = false;
    dirty_ = true;
}

std::vector<std::u16string> DataManager::getManagedPartNames() const {
    return doGetManagedPartNames();
}

std::vector<std::u16string> DataManager::getManagedRelationshipTypes() const {
    return doGetManagedRelationshipTypes();
}

} // namespace opc::model
