// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/items/ZipFaults.hpp"
#include "storage/zip/ZipArchive.hpp"

namespace opc::storage {

/// Finds what makes readers read a file as different packages: those that use the central directory, those that use
/// the local headers from the start, and those that search for the directory from the end. libzip has a check of its
/// own, which is not used: it names no item, refuses files of real producers for their times, and checks neither
/// flags, data descriptors nor the bytes between the items.
/// @param faults what `ZipOptions::consistent` lists.
/// @throws opc::Exception what the faults throw.
void checkConsistency(const ZipArchive& archive, const ZipFaults& faults);

} // namespace opc::storage
