// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ContentChecks.hpp"

#include "storage/Failure.hpp"
#include "storage/items/ContentTypeChecks.hpp"
#include "storage/items/ReadAhead.hpp"
#include "storage/zip/DeflateStream.hpp"

#include <opc/core/Exception.hpp>

#include <string>
#include <utility>
#include <vector>

namespace opc::storage {

namespace {

std::string withoutLabel(const std::string& message, const std::string& label) {
    return message.starts_with(label) ? message.substr(label.size()) : message;
}

} // namespace

/// Items that are not parts count as well: programs that unpack a file stop at a damaged one, or leave it out.
void ContentChecks::checkContents(const ZipFaults& faults) {
    std::vector<const ZipEntry*> entries;
    for (const ZipEntry& entry : items_.all())
        entries.push_back(entry.index && entry.pieces().empty() ? &entry : nullptr);
    std::vector<char> isSound(entries.size());
    readAhead(std::move(entries), archive_, limits_, threads_,
              [&](std::size_t i, const unsigned char*, std::size_t size) { isSound[i] = size == 0; });
    std::size_t next = 0;
    for (ZipEntry& entry : items_.all()) {
        if ((isSound[next++] != 0 && limits_.tryToCount(entry.size, entry.count)) || !entry.index)
            continue;
        try {
            readToEnd(entry);
        } catch (const Exception& e) {
            if (!faults.isTolerant() || !isOfContent(e))
                throw;
            if (e.code() == make_error_condition(Errc::bad_message)) // the others are told of the headers
                faults.add({RuleId::ZipDamaged, entry.name, withoutLabel(e.what(), entry.getLabel() + ": ")});
        }
    }
}

/// Reads an item of the file to find out what is wrong with it.
void ContentChecks::readToEnd(ZipEntry& entry) {
    const DirectoryRecord& record = archive_.getDirectory().records()[entry.index.value()];
    const auto header = readLocalHeader(archive_.getBytes(), record.localHeader);
    if (header && entry.pieces().empty() && record.header.method == zipformat::DEFLATED) {
        std::uint64_t size = 0;
        throwIfStreamEndsElsewhere(
            archive_.getBytes(), record, record.localHeader + sizeOf(*header),
            [&](const unsigned char*, std::size_t more) {
                limits_.note(more);
                limits_.count(size += more, entry.count, entry);
            },
            entry.getLabel());
    } else {
        const auto reader = entry.readOriginal();
        std::vector<unsigned char> buffer(64 * 1024);
        while (reader->read(buffer.data(), buffer.size()) > 0) {
        }
    }
}

} // namespace opc::storage
