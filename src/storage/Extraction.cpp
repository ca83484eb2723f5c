// SPDX-License-Identifier: Apache-2.0
#include <opc/storage/Extraction.hpp>

#include "storage/Failure.hpp"
#include "storage/directory/ExtractionPlan.hpp"
#include "storage/directory/FolderPaths.hpp"
#include "storage/directory/OutputFolder.hpp"

#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/core/interfaces/IPhysicalParallelReading.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>
#include <opc/storage/ItemPackage.hpp>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace opc::storage {

namespace {

constexpr std::size_t COPIED_BLOCK_SIZE = 64 * 1024;

/// Files that are written on several threads, by each one at a time.
class FilesOfThreads {
public:
    explicit FilesOfThreads(OutputFolder& folder) : folder_(folder) {}

    void write(std::string_view path, const unsigned char* data, std::size_t size) {
        OpenFile& open = fileOfThread();
        if (!open.file || open.path != path) { // the one before was damaged
            open.file.reset();
            open = {path, folder_.create(path)};
        }
        if (size > 0)
            return open.file->write(data, size);
        const std::unique_ptr<OutputFile> complete = std::move(open.file);
        complete->commit();
    }

private:
    struct OpenFile {
        std::string_view path{};
        std::unique_ptr<OutputFile> file{};
    };

    OpenFile& fileOfThread() {
        const std::lock_guard lock(mutex_);
        return files_[std::this_thread::get_id()];
    }

    OutputFolder& folder_;
    std::mutex mutex_;
    std::map<std::thread::id, OpenFile> files_;
};

class Extractor {
public:
    Extractor(ItemPackage& package, const ExtractionOptions& options)
        : package_(package), parallel_(dynamic_cast<interfaces::IPhysicalParallelReading*>(&package)),
          maximumFolders_(options.maximumFolders), items_(package.getItems()) {
        for (const ZipItem& item : items_)
            names_.push_back(item.name);
        std::ranges::sort(names_);
        if (options.positions)
            for (const std::size_t position : *options.positions)
                select(position);
        else
            for (std::size_t i = 0; i < items_.size(); ++i)
                if (options.otherItems || items_[i].kind != ZipItemKind::Other)
                    select(i);
        plan_ = planExtraction(items_, positions_);
    }

    void extractTo(OutputFolder& folder, ExtractionSink& sink) {
        makeFolders(folder);
        findParts();
        if (parallel_ && parallel_->isParallel())
            extractAhead(folder);
        std::ranges::sort(plan_, {}, &PlannedItem::position);
        for (const PlannedItem& each : plan_)
            extractOne(each, folder, sink);
    }

private:
    void select(std::size_t position) {
        if (position >= items_.size())
            fail(Errc::no_such_file_or_directory, "no item at the position " + std::to_string(position));
        if (sources_.emplace(position, Source()).second)
            positions_.push_back(position);
    }

    /// Where the content of an item comes from.
    struct Source {
        interfaces::IPhysicalPart* part = nullptr; ///< null for an item that is not a part
        bool isExtracted = false;
    };

    void makeFolders(OutputFolder& folder) {
        std::uint64_t count = 0;
        for (PlannedItem& each : plan_) {
            if (!each.reason.empty())
                continue;
            try {
                count += folder.makeFolder(folderOf(each.path));
            } catch (const NameRefused& e) {
                each.reason = e.what();
                each.code = static_cast<Errc>(e.code().value());
            }
            if (count > maximumFolders_)
                fail(Errc::file_too_large, folder.getLabel() + ": more than " + std::to_string(maximumFolders_) +
                                               " folders are needed (limit items)");
        }
    }

    /// The parts are in the order of their items.
    void findParts() {
        const auto parts = package_.getParts();
        auto next = parts.begin();
        for (std::size_t i = 0; i < items_.size(); ++i)
            if (items_[i].kind == ZipItemKind::Part && next != parts.end()) {
                const auto wanted = sources_.find(i);
                if (wanted != sources_.end())
                    wanted->second.part = *next;
                ++next;
            }
    }

    void extractAhead(OutputFolder& folder) {
        std::vector<interfaces::IPhysicalPart*> parts;
        std::vector<std::pair<std::string_view, Source*>> targets;
        for (const PlannedItem& each : plan_)
            if (Source& source = sources_.at(each.position); source.part && each.reason.empty()) {
                parts.push_back(source.part);
                targets.emplace_back(each.path, &source);
            }
        FilesOfThreads files(folder);
        parallel_->readParts(parts, [&](std::size_t index, const unsigned char* data, std::size_t size) {
            files.write(targets[index].first, data, size);
            targets[index].second->isExtracted = size == 0;
        });
    }

    void extractOne(const PlannedItem& planned, OutputFolder& folder, ExtractionSink& sink) {
        const ZipItem& item = items_[planned.position];
        Source& source = sources_.at(planned.position);
        const std::string label = folder.getLabel() + ": " + inQuotes(item.name);
        if (!planned.reason.empty())
            return sink.leftOut(item, Exception(label + ": " + planned.reason, make_error_code(planned.code)));
        if (source.isExtracted) {
            parallel_->countAsRead(*source.part); // its cost was within the limits
            return sink.extracted(item);
        }
        std::optional<Exception> failure;
        try {
            failure = copy(planned, source, folder);
        } catch (const NameRefused& e) {
            failure.emplace(label + ": " + e.what(), e.code());
        }
        failure ? sink.leftOut(item, *failure) : sink.extracted(item);
    }

    /// @return why the content cannot be read; nothing when the file is complete.
    std::optional<Exception> copy(const PlannedItem& planned, const Source& source, OutputFolder& folder) {
        if (planned.path.ends_with('/'))
            return std::nullopt;
        const std::unique_ptr<OutputFile> file = folder.create(planned.path);
        interfaces::IPhysicalInputStream* stream = nullptr;
        for (;;) {
            std::size_t count = 0;
            try {
                if (!stream)
                    (stream = findStream(planned.position, source))->open();
                count = stream->read(block_.data(), block_.size());
            } catch (const Exception& e) {
                if (stream)
                    stream->close();
                return e;
            }
            if (count == 0)
                break;
            file->write(block_.data(), count);
        }
        stream->close();
        file->commit();
        return std::nullopt;
    }

    interfaces::IPhysicalInputStream* findStream(std::size_t position, const Source& source) {
        const std::string& name = items_[position].name;
        if (source.part)
            return source.part->getInputStream();
        return std::ranges::equal_range(names_, name).size() == 1 ? package_.getItemInputStream(name)
                                                                  : package_.getItemInputStreamAt(position);
    }

    ItemPackage& package_;
    interfaces::IPhysicalParallelReading* parallel_; ///< null for a package that has none
    std::uint64_t maximumFolders_;
    std::vector<ZipItem> items_;
    std::vector<std::string_view> names_; ///< of all items, sorted
    std::vector<std::size_t> positions_;  ///< each once
    std::map<std::size_t, Source> sources_;
    std::vector<PlannedItem> plan_;
    std::vector<unsigned char> block_ = std::vector<unsigned char>(COPIED_BLOCK_SIZE);
};

} // namespace

ExtractionSink::~ExtractionSink() = default;

void extract(ItemPackage& package, const std::filesystem::path& folder, const ExtractionOptions& options,
             ExtractionSink& sink) {
    Extractor extractor(package, options);
    OutputFolder output(folder, options.replaces);
    extractor.extractTo(output, sink);
}

} // namespace opc::storage
