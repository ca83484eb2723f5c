// SPDX-License-Identifier: Apache-2.0
#include <opc/storage/Packing.hpp>

#include "storage/Content.hpp"
#include "storage/Failure.hpp"
#include "storage/items/ItemNames.hpp"
#include "storage/items/MainPart.hpp"
#include "storage/items/ReadLimits.hpp"
#include "storage/zip/Targets.hpp"
#include "storage/zip/ZipWriter.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/core/interfaces/OpenMode.hpp>
#include <opc/storage/directory/DirectoryPackage.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace opc::storage {

namespace {

constexpr std::size_t PACKED_BLOCK_SIZE = 256 * 1024;

/// A stream of a package as a reader.
class StreamReader final : public ItemReader {
public:
    explicit StreamReader(interfaces::IPhysicalInputStream& stream) : stream_(stream) { stream_.open(); }
    ~StreamReader() override { stream_.close(); }
    StreamReader(const StreamReader&) = delete;
    StreamReader& operator=(const StreamReader&) = delete;

    std::size_t read(unsigned char* buffer, std::size_t size) override { return stream_.read(buffer, size); }

private:
    interfaces::IPhysicalInputStream& stream_;
};

DirectoryOptions directoryOptions(const PackingOptions& options) {
    DirectoryOptions how;
    how.limits = options.limits;
    return how;
}

/// A folder that is being packed.
class Packer {
public:
    Packer(const std::filesystem::path& folder, const PackingOptions& options)
        : label_(folder.string()), limits_(options.limits), package_(folder, directoryOptions(options)),
          area_(std::make_shared<SpillArea>(label_, options.memory, options.temporaryFolder)) {
        package_.open(interfaces::OpenMode::ReadOnly);
        items_ = package_.getItems();
        if (!options.otherItems)
            throwIfOthers();
        sort();
    }

    PackingResult writeTo(Target& target) {
        ZipChanges changes;
        PackingResult result;
        for (const std::size_t position : order_) {
            const ZipItem& item = items_[position];
            ZipChanges::Added added{item.name, nullptr, interfaces::CompressionType::Normal, labelOf(item)};
            added.load = [this, position] { return load(position); };
            changes.added.push_back(std::move(added));
            ++result.items;
            result.size += item.size;
        }
        writeZip(nullptr, changes, ReadLimits(limits_), target);
        target.commit();
        return result;
    }

private:
    std::string labelOf(const ZipItem& item) const { return label_ + ": " + inQuotes(item.name); }

    void throwIfOthers() const {
        const auto isOther = [](const ZipItem& item) { return item.kind == ZipItemKind::Other; };
        const auto first = std::ranges::find_if(items_, isOther);
        if (first == items_.end())
            return;
        const auto more = std::ranges::count_if(items_, isOther) - 1;
        const std::string others = more == 0 ? "" : " (of " + std::to_string(more + 1) + " such files)";
        fail(Errc::not_supported, labelOf(*first) + ": not a part: " + first->reason + others);
    }

    /// Those by which programs recognize the kind of a package come first; the others are in their order.
    void sort() {
        std::u16string mainPart;
        for (std::size_t i = 0; i < items_.size(); ++i) {
            order_.push_back(i);
            if (caselessCompare(items_[i].partName, u"/_rels/.rels") == 0)
                mainPart = findMainPart(i);
        }
        const auto rank = [&](std::size_t i) {
            const ZipItem& item = items_[i];
            if (item.kind == ZipItemKind::ContentTypes)
                return 0;
            if (item.kind == ZipItemKind::Part && caselessCompare(item.partName, u"/_rels/.rels") == 0)
                return 1;
            return item.kind == ZipItemKind::Part && caselessCompare(item.partName, mainPart) == 0 ? 2 : 3;
        };
        std::ranges::stable_sort(order_, {}, rank);
    }

    /// Empty when the relationships name none or cannot be read, which is no reason to refuse them here.
    std::u16string findMainPart(std::size_t position) {
        try {
            StreamReader reader(*package_.getItemInputStream(items_[position].name));
            return storage::findMainPart(reader, limits_.xmlSize);
        } catch (const Exception&) {
            return {};
        }
    }

    std::shared_ptr<const Content> load(std::size_t position) {
        auto content = std::make_shared<Content>(area_, interfaces::CompressionType::Normal);
        StreamReader reader(*package_.getItemInputStream(items_[position].name));
        while (const std::size_t count = reader.read(block_.data(), block_.size()))
            content->append(block_.data(), count);
        content->finish();
        return content;
    }

    std::string label_;
    Limits limits_;
    DirectoryPackage package_;
    std::shared_ptr<SpillArea> area_;
    std::vector<ZipItem> items_;
    std::vector<std::size_t> order_;
    std::vector<unsigned char> block_ = std::vector<unsigned char>(PACKED_BLOCK_SIZE);
};

/// The file may not exist yet, nor the folder that it is to be in.
bool isBelow(const std::filesystem::path& file, const std::filesystem::path& folder) {
    std::error_code error;
    const std::filesystem::path inner = std::filesystem::weakly_canonical(file, error);
    const std::filesystem::path outer = std::filesystem::canonical(folder, error);
    return !error && std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

} // namespace

PackingResult pack(const std::filesystem::path& folder, const std::filesystem::path& file,
                   const PackingOptions& options) {
    Destination destination(file, file.string());
    if (destination.known && !options.replaces)
        fail(Errc::file_exists, destination.label + ": the file exists");
    if (isBelow(file, folder))
        fail(Errc::invalid_argument, destination.label + ": the file is in the folder that is packed");
    Packer packer(folder, options);
    FileTarget target(destination);
    return packer.writeTo(target);
}

PackingResult pack(const std::filesystem::path& folder, std::vector<unsigned char>& bytes,
                   const PackingOptions& options) {
    VectorTarget target(bytes);
    return Packer(folder, options).writeTo(target);
}

} // namespace opc::storage
