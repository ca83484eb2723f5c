// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/PhysicalAccess.hpp"
#include "support/TemporaryFolder.hpp"
#include "support/UnpackedPackage.hpp"

#include <opc/storage/memory/MemoryPackage.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace opc::test {

/// Room for one package, with nothing stored in it at first, and the physical package over it.
struct Store {
    interfaces::IPhysicalPackage& package() { return *physical; }
    /// Of the file; none for a package that is kept otherwise.
    std::vector<unsigned char> bytes() const { return std::filesystem::exists(file) ? readFile(file) : memory; }

    TemporaryFolder folder;
    std::filesystem::path file = folder / "package.zip";
    std::vector<unsigned char> memory;
    std::unique_ptr<interfaces::IPhysicalPackage> physical;
};

/// A way to make stores; what the tests of the contract are run over.
struct StoreKind {
    std::unique_ptr<Store> make() const {
        auto store = std::make_unique<Store>();
        store->physical.reset(create(*store));
        return store;
    }

    std::string name;
    std::function<interfaces::IPhysicalPackage*(Store&)> create;
    Errc openingNothing;   ///< how reading fails when nothing was stored yet
    bool isSorted = false; ///< whether what is open for reading only has the order of its names
};

inline void PrintTo(const StoreKind& kind, std::ostream* stream) {
    *stream << kind.name;
}

inline std::vector<StoreKind> allStores() {
    using namespace storage;
    const Errc missing = Errc::no_such_file_or_directory;
    ZipOptions spilling;
    spilling.memory = 0; // all that is written goes to the temporary file
    return {
        {"Memory", [](Store&) { return new MemoryPackage(true); }, missing},
        {"MemoryWithoutContentTypes", [](Store&) { return new MemoryPackage(false); }, missing},
        {"ZipFile", [](Store& store) { return new ZipPackage(store.file); }, missing},
        {"SpillingZipFile", [spilling](Store& store) { return new ZipPackage(store.file, spilling); }, missing},
        {"ZipBytes", [](Store& store) { return new ZipPackage(store.memory); }, Errc::bad_message},
        {"Folder", [](Store& store) { return new UnpackedPackage(store.file, store.folder / "unpacked"); }, missing,
         true},
    };
}

} // namespace opc::test
