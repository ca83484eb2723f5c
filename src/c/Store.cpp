// SPDX-License-Identifier: Apache-2.0
#include "c/Store.hpp"

#include "c/Options.hpp"

#include <opc/storage/directory/DirectoryPackage.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <algorithm>
#include <chrono>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace opc::c {

namespace {

using interfaces::IPhysicalPackage;
using interfaces::OpenMode;
using storage::DirectoryOptions;
using storage::DirectoryPackage;
using storage::ZipOptions;
using storage::ZipPackage;

Limits toLimits(const opcraft_limits* given) {
    const opcraft_limits values = read(given, "limits");
    Limits limits;
    const auto take = [](std::uint64_t value, std::uint64_t& limit) { limit = value != 0 ? value : limit; };
    take(values.items, limits.items);
    take(values.item_size, limits.itemSize);
    take(values.total_size, limits.totalSize);
    take(values.ratio, limits.ratio);
    take(values.name_length, limits.nameLength);
    take(values.xml_size, limits.xmlSize);
    take(values.xml_depth, limits.xmlDepth);
    take(values.xml_nodes, limits.xmlNodes);
    return limits;
}

ZipOptions::Take toTake(opcraft_take take) {
    switch (take) {
    case OPCRAFT_TAKE_NEITHER:
        return ZipOptions::Take::Neither;
    case OPCRAFT_TAKE_FIRST:
        return ZipOptions::Take::First;
    case OPCRAFT_TAKE_LAST:
        return ZipOptions::Take::Last;
    }
    throwInvalidArgument("take is no opcraft_take");
}

/// What waits without end waits for this long.
constexpr std::chrono::milliseconds EVER = std::chrono::hours(24 * 365);

struct FileStore final : opcraft_store {
    explicit FileStore(std::filesystem::path of) : path(std::move(of)) {}

    std::unique_ptr<IPhysicalPackage> makePhysical(OpenMode mode, bool consistent) override {
        std::error_code error;
        if (mode == OpenMode::ReadOnly && std::filesystem::is_directory(path, error)) {
            const DirectoryOptions folder{options.limits,    options.consistent || consistent,
                                          options.take,      options.threads,
                                          options.bytesRead, options.cancelled};
            return std::make_unique<DirectoryPackage>(path, folder);
        }
        ZipOptions zip = options;
        zip.consistent = zip.consistent || consistent;
        auto package = std::make_unique<ZipPackage>(path, zip);
        if (output && mode != OpenMode::ReadOnly)
            package->setOutput(*output);
        return package;
    }

    std::filesystem::path path;
};

struct MemoryStore final : opcraft_store {
    MemoryStore(const unsigned char* data, std::size_t length) : bytes(data, data + length) {}

    std::unique_ptr<IPhysicalPackage> makePhysical(OpenMode mode, bool consistent) override {
        ZipOptions zip = options;
        zip.consistent = zip.consistent || consistent;
        auto package = std::make_unique<ZipPackage>(bytes, zip);
        if (output && mode != OpenMode::ReadOnly)
            package->setOutput(*output);
        return package;
    }

    std::vector<unsigned char> bytes;
};

} // namespace

void readStoreOptions(const opcraft_store_options* given, opcraft_store& store) {
    const opcraft_store_options values = read(given, "options");
    ZipOptions& options = store.options;
    options.limits = toLimits(values.limits);
    if (values.monitor != nullptr) {
        options.bytesRead = &values.monitor->bytesRead;
        options.cancelled = &values.monitor->cancelled;
    }
    if (values.memory != 0)
        options.memory = values.memory;
    if (values.temporary_folder != nullptr)
        options.temporaryFolder = values.temporary_folder;
    options.threads = values.threads != 0 ? values.threads : 1;
    if (values.lock_timeout != 0)
        options.lockTimeout =
            values.lock_timeout < 0 ? EVER : std::min(EVER, std::chrono::milliseconds(values.lock_timeout));
    options.consistent = values.consistent;
    options.take = toTake(values.take);
    if (values.output != nullptr)
        store.output = values.output;
}

OpenMode toOpenMode(opcraft_mode mode) {
    switch (mode) {
    case OPCRAFT_MODE_READ:
        return OpenMode::ReadOnly;
    case OPCRAFT_MODE_CHANGE:
        return OpenMode::ReadWrite;
    case OPCRAFT_MODE_CREATE:
        return OpenMode::CreateOnly;
    }
    throwInvalidArgument("mode is no opcraft_mode");
}

StoreUse::StoreUse(opcraft_store& store, OpenMode mode, bool consistent)
    : store_(nullptr), limits_(store.options.limits) {
    if (store.isInUse)
        throw Exception("the store is in use by another package or operation",
                        make_error_code(boost::system::errc::device_or_resource_busy));
    physical_ = store.makePhysical(mode, consistent);
    store_ = &store;
    store.isInUse = true;
}

void throwCancelled(const char* message) {
    throw Exception(message, make_error_code(boost::system::errc::operation_canceled));
}

} // namespace opc::c

using namespace opc::c;

opcraft_monitor* opcraft_monitor_new(opcraft_error** error) {
    return guarded(
        error, static_cast<opcraft_monitor*>(nullptr), [] { return new opcraft_monitor; });
}

void opcraft_monitor_free(opcraft_monitor* monitor) {
    delete monitor;
}

uint64_t opcraft_monitor_bytes_read(const opcraft_monitor* monitor) {
    return monitor != nullptr ? monitor->bytesRead.load() : 0;
}

void opcraft_monitor_cancel(opcraft_monitor* monitor) {
    if (monitor != nullptr)
        monitor->cancelled = true;
}

opcraft_store* opcraft_store_new_file(const char* path, const opcraft_store_options* options, opcraft_error** error) {
    return guarded(
        error, static_cast<opcraft_store*>(nullptr),
        [&]() -> opcraft_store* {
            auto store = std::make_unique<FileStore>(&required(path, "path"));
            readStoreOptions(options, *store);
            return store.release();
        });
}

opcraft_store* opcraft_store_new_memory(const void* data, size_t length, const opcraft_store_options* options,
                                        opcraft_error** error) {
    return guarded(
        error, static_cast<opcraft_store*>(nullptr),
        [&]() -> opcraft_store* {
            if (length != 0)
                required(static_cast<const unsigned char*>(data), "data");
            auto store = std::make_unique<MemoryStore>(static_cast<const unsigned char*>(data), length);
            readStoreOptions(options, *store);
            return store.release();
        });
}

void opcraft_store_free(opcraft_store* store) {
    delete store;
}

const void* opcraft_store_data(const opcraft_store* store, size_t* length) {
    const auto* memory = dynamic_cast<const MemoryStore*>(store);
    if (length != nullptr)
        *length = memory != nullptr ? memory->bytes.size() : 0;
    return memory != nullptr ? memory->bytes.data() : nullptr;
}
