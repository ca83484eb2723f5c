// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ItemChanges.hpp"

#include "storage/Failure.hpp"
#include "storage/items/ItemNames.hpp"
#include "storage/items/ReadLimits.hpp"
#include "storage/zip/ZipArchive.hpp"

#include <map>
#include <optional>
#include <utility>

namespace opc::storage {

using interfaces::CompressionType;
using Change = interfaces::IPhysicalItems::Change;

namespace {

std::shared_ptr<const Content> toContent(const std::vector<unsigned char>& bytes) {
    auto content = std::make_shared<Content>();
    content->append(bytes.data(), bytes.size());
    content->finish();
    return content;
}

class ItemChanger {
public:
    ItemChanger(const ZipArchive& archive, const ReadLimits& limits, const std::string& label)
        : archive_(archive), limits_(limits), label_(label), changes_(archive.count(), nullptr) {}

    ZipChanges run(const std::vector<Change>& changes) {
        for (const Change& change : changes)
            check(change);
        checkNames(changes);
        for (const Change& change : changes)
            add(change);
        return std::move(result_);
    }

private:
    [[noreturn]] void failAt(const std::string& name, Errc code, const char* what) const {
        fail(code, label_ + ": " + inQuotes(name) + ": " + what);
    }

    void check(const Change& change) {
        if (!change.position && (change.isDeleted || !change.content))
            failAt(change.name, Errc::invalid_argument, "a new item needs content");
        if (change.position && *change.position >= changes_.size())
            fail(Errc::no_such_file_or_directory, label_ + ": no item at this position");
        if (change.position && std::exchange(changes_[*change.position], &change))
            failAt(change.name, Errc::invalid_argument, "two changes of one item");
        if (change.isDeleted)
            return;
        if (change.name.empty() || change.name.find('\0') != std::string::npos || !isUTF8(change.name))
            failAt(change.name, Errc::invalid_argument, "not a name for an item");
        limits_.checkName(change.name, label_);
    }

    std::string nameOf(const Change& change) const {
        return change.position ? archive_.item(*change.position).name : std::string();
    }

    /// Items that keep their names may be there twice.
    void checkNames(const std::vector<Change>& changes) const {
        std::map<std::string, int> counts;
        for (std::uint64_t index = 0; index < changes_.size(); ++index)
            if (!changes_[index])
                ++counts[archive_.item(index).name];
        for (const Change& change : changes)
            if (!change.isDeleted)
                ++counts[change.name];
        for (const Change& change : changes)
            if (!change.isDeleted && counts[change.name] > 1 && nameOf(change) != change.name)
                failAt(change.name, Errc::file_exists, "another item has this name");
    }

    void add(const Change& change) {
        const auto content = change.content && !change.isDeleted ? toContent(*change.content) : nullptr;
        const std::string itemLabel = label_ + ": " + inQuotes(change.name);
        if (!change.position) {
            auto& added = change.name == CONTENT_TYPES_ITEM ? result_.first : result_.added;
            added.push_back({change.name, content, CompressionType::Normal, itemLabel});
        } else if (change.isDeleted) {
            result_.deleted.push_back(*change.position);
        } else if (const bool isRenamed = nameOf(change) != change.name; isRenamed || content) {
            result_.replaced.push_back({*change.position, content, itemLabel, isRenamed ? change.name : std::string()});
        }
    }

    const ZipArchive& archive_;
    const ReadLimits& limits_;
    const std::string& label_;
    std::vector<const Change*> changes_; ///< by the position of the item
    ZipChanges result_;
};

} // namespace

ZipChanges toZipChanges(const std::vector<Change>& changes, const ZipArchive& archive, const ReadLimits& limits,
                        const std::string& label) {
    return ItemChanger(archive, limits, label).run(changes);
}

} // namespace opc::storage
