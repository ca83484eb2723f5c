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

    /// Whether the monitor of the store ends what goes on.
    bool isCancelled() const noexcept { return options.cancelled != nullptr && options.cancelled->load(); }

    opc::storage::ZipOptions options{};
    std::optional<std::filesystem::path> output{};
    bool isInUse = false;
    mutable int failure = 0; ///< what a callback returned last, other than 0, since it was last set to 0
};

namespace opc::c {

/// The one use of a store that there is at a time.
class StoreUse {
public:
    /// @throws opc::Exception device_or_resource_busy
    StoreUse(opcraft_store& store, interfaces::OpenMode mode, bool consistent = false);
    ~StoreUse() { end(); }

    StoreUse(const StoreUse&) = delete;
    StoreUse& operator=(const StoreUse&) = delete;

    interfaces::IPhysicalPackage& operator*() const noexcept { return *physical_; }
    const Limits& getLimits() const noexcept { return limits_; }
    opcraft_store* getStore() const noexcept { return store_; } ///< null once the use has ended
    bool isCancelled() const noexcept { return store_ != nullptr && store_->isCancelled(); }

    /// What comes then neither reads nor writes: the store may be used by others.
    void end() noexcept {
        if (store_ != nullptr)
            store_->isInUse = false;
        store_ = nullptr;
    }

private:
    opcraft_store* store_;
    Limits limits_;
    std::unique_ptr<interfaces::IPhysicalPackage> physical_;
};

/// @throws opc::Exception operation_canceled once the monitor of the store ends the work.
[[noreturn]] void throwCancelled(const char* message);

/// Calls an action that reads or writes by a store. What fails once it was cancelled fails for that, and what fails
/// since a callback did has the value that it returned, whatever became of the code on the way up: many errors have
/// none.
/// @param store may be null.
template <class Action>
auto byStore(opcraft_store* store, Action action) {
    if (store == nullptr)
        return action();
    store->failure = 0;
    try {
        return action();
    } catch (const std::exception& error) {
        if (store->isCancelled())
            throwCancelled(error.what());
        if (store->failure != 0)
            throw CallbackFailure{std::current_exception(), store->failure};
        throw;
    }
}

/// The same for what gives a report: what is found from the time on at which it is cancelled says nothing.
template <class Action>
auto reportByStore(opcraft_store& store, Action action) {
    auto report = byStore(&store, action);
    if (store.isCancelled())
        throwCancelled("the work was cancelled");
    return report;
}

/// @throws opc::Exception for a value that is none.
interfaces::OpenMode toOpenMode(opcraft_mode mode);

/// @param options may be null.
void readStoreOptions(const opcraft_store_options* options, opcraft_store& store);

} // namespace opc::c
