// SPDX-License-Identifier: Apache-2.0
// How a package is opened: its bytes, the archive and its items.
#include "storage/zip/OpenZipPackage.hpp"

#include "storage/Failure.hpp"
#include "storage/items/OtherFormats.hpp"
#include "storage/zip/ZipConsistency.hpp"

#include <opc/core/Exception.hpp>

#include <algorithm>
#include <utility>

namespace opc::storage {

using interfaces::OpenMode;
using Take = ZipOptions::Take;

/// The file that a created package will replace is not read, and is not locked where it cannot be read.
void OpenZipPackage::openReplaced() {
    if (!own_ || !own_->known || output_)
        return;
    try {
        replaced_ = std::make_unique<FileBytes>(location_.file, location_.label);
        takeForOwn(*replaced_);
    } catch (const Exception& e) {
        if (e.code() == make_error_condition(Errc::device_or_resource_busy) ||
            e.code() == make_error_condition(Errc::operation_canceled))
            throw;
        replaced_.reset();
        own_.emplace(location_.file, location_.label);
    }
}

void OpenZipPackage::takeForOwn(FileBytes& file) {
    const bool isInPlace = opening_.mode != OpenMode::ReadOnly && !output_;
    if (isInPlace && location_.options.lockTimeout)
        file.lock(*location_.options.lockTimeout, location_.options.cancelled);
    own_->known = file.identity();
    own_->unlocked = file.getUnlocked();
}

std::unique_ptr<PackageBytes> OpenZipPackage::openBytes() {
    if (location_.bytes)
        return std::make_unique<VectorBytes>(*location_.bytes);
    auto bytes = std::make_unique<FileBytes>(location_.file, location_.label);
    if (opening_.mode == OpenMode::ReadWrite && !output_)
        throwIfNotWritable(location_.file, location_.label);
    takeForOwn(*bytes);
    return bytes;
}

void OpenZipPackage::openArchive(const ZipFaults& faults) {
    bytes_ = openBytes();
    try {
        archive_ = std::make_unique<ZipArchive>(*bytes_, location_.label);
    } catch (const Exception& e) {
        if (e.code() != make_error_condition(Errc::bad_message) || !chooseArchive(faults))
            throw;
    }
    limits_.checkItems(archive_->count(), location_.label);
    if (location_.options.consistent)
        checkConsistency(*archive_, faults);
}

/// For a file that is not one archive from its start on.
/// @return false when no archive is found there that starts elsewhere.
bool OpenZipPackage::chooseArchive(const ZipFaults& faults) {
    const std::vector<FoundArchive> archives = findArchives(*bytes_);
    if (archives.empty() || (archives.size() == 1 && archives.front().origin == 0) ||
        !explainCompoundFile(*bytes_).empty())
        return false;
    const Take take = location_.options.take;
    const FoundArchive& chosen = take == Take::First ? archives.front() : archives.back();
    const bool isOne = archives.size() == 1;
    const std::string what =
        isOne ? "the offsets of the archive do not count the " + std::to_string(chosen.origin) + " bytes before it"
              : std::to_string(archives.size()) + " archives in a row";
    const std::string said = "the ZIP structure is ambiguous: " + what;
    if (archives.size() > MAXIMUM_ARCHIVES || (take == Take::Neither && (!isOne || chosen.hasRival)))
        fail(Errc::bad_message, location_.label + ": " + said);
    const std::string which = isOne                 ? ""
                              : take == Take::First ? ", of which the first one is read"
                                                    : ", of which the last one is read";
    faults.add({RuleId::ZipEndRecord, {}, what + which, said});
    taken_ = std::make_unique<ArchiveBytes>(*bytes_, chosen);
    archive_ = std::make_unique<ZipArchive>(*taken_, location_.label);
    return true;
}

} // namespace opc::storage
