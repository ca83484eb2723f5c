// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/ItemReader.hpp"
#include "storage/StoredItem.hpp"

#include <opc/core/Limits.hpp>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace opc::storage {

/// What the readers of one item have in common.
struct ReadCount {
    std::uint64_t compressedSize = 0; ///< bytes in the file
    std::uint64_t inflated = 0;       ///< the most bytes that one reader delivered
};

/// Enforces the limits of a package that is read, on the bytes that are delivered. Outlives its readers.
class ReadLimits {
public:
    /// @param bytesRead, cancelled as of `ZipOptions`; may be null.
    explicit ReadLimits(const Limits& limits, std::atomic<std::uint64_t>* bytesRead = nullptr,
                        const std::atomic<bool>* cancelled = nullptr)
        : limits_(limits), bytesRead_(bytesRead), cancelled_(cancelled) {}

    const Limits& get() const { return limits_; }

    /// @throws opc::Exception file_too_large
    void checkItems(std::uint64_t count, const std::string& label, const char* holder = "the file") const;
    void checkName(std::string_view name, const std::string& label) const;
    void checkRelationshipsName(std::u16string_view name, const std::string& label) const;

    /// The content of one item, which is read or will be.
    void checkContent(std::uint64_t size, std::uint64_t compressedSize, const std::string& label) const;

    /// A reader that stops with file_too_large where a limit is reached.
    /// @param origin whose bytes they are. It and the count outlive the reader.
    std::unique_ptr<ItemReader> watch(std::unique_ptr<ItemReader> reader, ReadCount& count, const ItemOrigin& origin);

    /// @throws opc::Exception operation_canceled. On any thread.
    void throwIfCancelled() const;

    /// Notes bytes that were delivered, for whoever shows how far the work is, or ends it. On any thread.
    /// @throws opc::Exception operation_canceled
    void note(std::uint64_t size) const {
        throwIfCancelled();
        if (bytesRead_)
            bytesRead_->fetch_add(size, std::memory_order_relaxed);
    }

    /// Counts the bytes of an item that one reader has delivered so far.
    void count(std::uint64_t size, ReadCount& item, const ItemOrigin& origin);

    /// Whether an item may have so many bytes, of itself.
    bool allow(std::uint64_t size, std::uint64_t compressedSize) const { return !findExcess(size, compressedSize); }

    /// Counts a whole item.
    /// @return false, and nothing is counted, when a limit is exceeded.
    bool tryToCount(std::uint64_t size, ReadCount& item);

private:
    struct Excess {
        std::uint64_t limit;
        const char* what;
        const char* name;
    };
    std::optional<Excess> findExcess(std::uint64_t size, std::uint64_t compressedSize) const;

    Limits limits_;
    std::atomic<std::uint64_t>* bytesRead_;
    const std::atomic<bool>* cancelled_;
    std::uint64_t total_ = 0;
};

} // namespace opc::storage
