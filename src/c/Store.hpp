// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "c/Guard.hpp"

#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/OpenMode.hpp>
#include <opc/storage/zip/ZipOptions.hpp>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

struct opcraft_monitor {
    std::atomic<std::uint64_t> bytesRead = 0;
    std::atomic<bool> cancelled = false;
};

/// Where a package lies. It makes a physical package for each use.
struct opcraft_store {
    virtual ~opcraft_store() = default;

    /// A physical package that is not open.
    /// @param consistent whether it is refused when other programs could read it as another package.
    virtual std::unique_ptr<opc::interfaces::IPhysicalPackage> makePhysical(opc::interfaces::OpenMode mode,
                                                                            bool consistent) = 0;

    opc::storage::ZipOptions options{};
    std::optional<std::filesystem::path> output{};
    bool isInUse = false;
};

namespace opc::c {

/// The one use of a store that there is at a time.
class StoreUse {
public:
    /// @throws opc::Exception device_or_resource_busy
    StoreUse(opcraft_store& store, interfaces::OpenMode mode, bool consistent = false);
    ~StoreUse() { store_.isInUse = false; }

    StoreUse(const StoreUse&) = delete;
    StoreUse& operator=(const StoreUse&) = delete;

    interfaces::IPhysicalPackage& operator*() const noexcept { return *physical_; }
    const Limits& getLimits() const noexcept { return store_.options.limits; }
    opcraft_store& getStore() const noexcept { return store_; }

private:
    opcraft_store& store_;
    std::unique_ptr<interfaces::IPhysicalPackage> physical_;
};

/// @throws opc::Exception for a value that is none.
interfaces::OpenMode toOpenMode(opcraft_mode mode);

/// @param options may be null.
void readStoreOptions(const opcraft_store_options* options, opcraft_store& store);

} // namespace opc::c
