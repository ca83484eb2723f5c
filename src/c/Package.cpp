// SPDX-License-Identifier: Apache-2.0
#include "c/Package.hpp"

#include "c/Options.hpp"
#include "c/Results.hpp"

#include <opc/storage/ItemPackage.hpp>

#include <algorithm>
#include <map>

namespace opc::c {

namespace {

using interfaces::OpenMode;
using model::Part;
using model::PartName;
using storage::ItemPackage;
using storage::ZipItem;
using storage::ZipItemKind;

void fillPart(opcraft_part& entry, Pool& pool, const Part& part, const ZipItem* item) {
    entry.name = pool.keep(part.getName().toString());
    entry.content_type = pool.keep(part.getContentType().toString());
    entry.length = item != nullptr ? item->size : UINT64_MAX;
    entry.stored_length = item != nullptr ? item->compressedSize : UINT64_MAX;
    entry.relationships = part.getRelationships().size();
}

std::unique_ptr<Result<opcraft_part_list>> listParts(const OpenedPackage& package) {
    auto list = makeResult<opcraft_part_list>();
    const std::vector<Part> parts = package.model.getParts();
    std::vector<ZipItem> items;
    if (const auto* store = dynamic_cast<const ItemPackage*>(&*package.use))
        items = store->getItems();
    std::map<std::u16string_view, const ZipItem*> stored;
    for (const ZipItem& item : items)
        if (item.kind == ZipItemKind::Part)
            stored.emplace(item.partName, &item);

    list->parts = list->pool.structures<opcraft_part>(
        parts, list->count,
        [&](opcraft_part& entry, const Part& part) {
            const auto found = stored.find(part.getName().toString());
            fillPart(entry, list->pool, part, found != stored.end() ? found->second : nullptr);
        });

    const auto isPart = [](const ZipItem& item) { return item.kind != ZipItemKind::Other; };
    items.erase(std::remove_if(items.begin(), items.end(), isPart), items.end());
    list->items =
        list->pool.structures<opcraft_item>(items, list->item_count, [&](opcraft_item& entry, const ZipItem& item) {
            entry.name = list->pool.keep(std::string_view(item.name));
            entry.length = item.size;
            entry.stored_length = item.compressedSize;
            entry.reason = list->pool.keep(std::string_view(item.reason));
        });
    return list;
}

/// What is not ASCII percent-encoded, and all else as it is.
std::u16string encode(const std::u16string& text) {
    if (std::none_of(text.begin(), text.end(), [](char16_t unit) { return unit > u'\x7F'; }))
        return text;
    std::string ascii;
    for (char each = '\x01'; each != '\x7F'; ++each)
        ascii += each;
    return model::URI::percentEncode(text, ascii);
}

} // namespace

OpenedPackage::OpenedPackage(opcraft_store& store, OpenMode mode, bool tolerant)
    : isTolerant(tolerant), use(store, mode), model(*use, use.getLimits()) {
    if (tolerant)
        model.open(mode, found);
    else
        model.open(mode);
}

void OpenedPackage::throwIfInUse(const PartName& part) const {
    if (inUse.count(part) != 0)
        throw Exception(detail::toUTF8String(part.toString(), false) + ": a reader or writer of the part is open",
                        make_error_code(boost::system::errc::device_or_resource_busy));
}

void OpenedPackage::throwIfNotWhole() const {
    if (!notWhole.empty())
        throw Exception(detail::toUTF8String(notWhole.begin()->toString(), false) +
                            ": it was not written to its end, so that it has no content that can be saved",
                        make_error_code(boost::system::errc::io_error));
}

std::u16string toText(const char* text, const char* name) {
    try {
        return toString(std::string_view(&required(text, name)));
    } catch (const Exception& error) {
        if (error.code())
            throw;
        throwInvalidArgument(std::string(name) + " is not UTF-8");
    }
}

PartName toPartName(const char* name) {
    return PartName(encode(toText(name, "name")));
}

model::URI toTarget(const std::u16string& text) {
    return model::URI(encode(text));
}

char* copyForCaller(std::u16string_view text) {
    const std::string utf8 = detail::toUTF8String(text, false);
    char* copy = new char[utf8.size() + 1];
    *std::copy(utf8.begin(), utf8.end(), copy) = '\0';
    return copy;
}

} // namespace opc::c

using namespace opc::c;

opcraft_package* opcraft_package_open(opcraft_store* store, opcraft_mode mode, const opcraft_open_options* options,
                                      opcraft_error** error) {
    return guarded(
        error, static_cast<opcraft_package*>(nullptr),
        [&] {
            const opcraft_open_options given = read(options, "options");
            const auto open = [&] { return std::make_shared<OpenedPackage>(*store, toOpenMode(mode), given.tolerant); };
            return new opcraft_package{byStore(&required(store, "store"), open)};
        });
}

bool opcraft_package_close(opcraft_package* package, opcraft_error** error) {
    return guardedChange(
        package, error,
        [](OpenedPackage& opened) {
            if (!opened.inUse.empty())
                opened.throwIfInUse(*opened.inUse.begin());
            opened.throwIfNotWhole();
            if (opened.model.isOpen() && !opened.model.isReadOnly() && opened.use.isCancelled())
                throwCancelled("the work was cancelled");
            opened.model.close();
            opened.use.end();
        });
}

void opcraft_package_free(opcraft_package* package) {
    delete package; // of which readers and writers notice that it is gone
}

opcraft_part_list* opcraft_package_list_parts(const opcraft_package* package, opcraft_error** error) {
    return guarded(
        package, error, static_cast<opcraft_part_list*>(nullptr),
        [](const OpenedPackage& opened) { return listParts(opened).release(); });
}

void opcraft_part_list_free(opcraft_part_list* list) {
    freeResult(list);
}
