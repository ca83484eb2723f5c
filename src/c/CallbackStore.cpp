// SPDX-License-Identifier: Apache-2.0
#include "c/Options.hpp"
#include "c/Results.hpp"
#include "c/Store.hpp"

#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/core/interfaces/IPhysicalOutputStream.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>

#include <cerrno>
#include <map>
#include <string>
#include <utility>
#include <vector>

struct opcraft_listing {
    std::vector<std::pair<std::u16string, std::u16string>> parts{}; ///< names and content types
};

namespace opc::c {

namespace {

using interfaces::IPhysicalInputStream;
using interfaces::IPhysicalOutputStream;
using interfaces::IPhysicalPackage;
using interfaces::IPhysicalPart;
using interfaces::IPhysicalPartInfo;
using interfaces::OpenMode;

struct CallbackStore final : opcraft_store {
    CallbackStore(const opcraft_store_callbacks& of, void* with) : callbacks(of), data(with) {}

    std::unique_ptr<IPhysicalPackage> makePhysical(OpenMode mode, bool consistent) override;

    void throwIfCancelled() const {
        if (isCancelled())
            throwCancelled("the work was cancelled");
    }

    /// Fails with what a callback returned.
    void check(int value, const std::string& message) const {
        if (value != 0)
            failure = value;
        throwIfFailed(value, message);
    }

    opcraft_store_callbacks callbacks;
    void* data;
};

/// A part, or the content types stream.
class Item {
public:
    /// @param name UTF-8; empty: the content types stream.
    Item(const CallbackStore& store, std::string name) : store_(store), name_(std::move(name)) {}

    const CallbackStore& getStore() const noexcept { return store_; }
    const char* getName() const noexcept { return name_.empty() ? nullptr : name_.c_str(); }
    std::string message(const char* what) const {
        return (name_.empty() ? "[Content_Types].xml" : name_) + ": the store " + what;
    }

private:
    const CallbackStore& store_;
    std::string name_;
};

class CallbackInput final : public IPhysicalInputStream {
public:
    explicit CallbackInput(const Item& item) : item_(item) {}
    ~CallbackInput() override { close(); }

    CallbackInput(const CallbackInput&) = delete;
    CallbackInput& operator=(const CallbackInput&) = delete;

    void open() override {
        close();
        const CallbackStore& store = item_.getStore();
        store.check(store.callbacks.begin_read(store.data, item_.getName(), &stream_), item_.message("cannot read it"));
        isOpen_ = true;
        isDone_ = false;
    }

    unsigned long read(unsigned char* buffer, unsigned long size) override {
        if (!isOpen_)
            throwIfFailed(EBADF, item_.message("does not read it"));
        if (size == 0)
            return 0;
        const CallbackStore& store = item_.getStore();
        store.throwIfCancelled();
        std::size_t count = 0;
        store.check(store.callbacks.read(store.data, stream_, buffer, size, &count), item_.message("cannot read it"));
        if (count > size)
            throwIfFailed(EIO, item_.message("tells that it read more than there is room for"));
        if (store.options.bytesRead != nullptr)
            *store.options.bytesRead += count;
        isDone_ = count == 0;
        return count;
    }

    bool isDone() const override { return isDone_; }
    void close() noexcept override {
        if (std::exchange(isOpen_, false))
            item_.getStore().callbacks.end_read(item_.getStore().data, stream_);
    }

private:
    const Item& item_;
    void* stream_ = nullptr;
    bool isOpen_ = false;
    bool isDone_ = false;
};

class CallbackOutput final : public IPhysicalOutputStream {
public:
    explicit CallbackOutput(const Item& item) : item_(item) {}
    ~CallbackOutput() override { end(); }

    CallbackOutput(const CallbackOutput&) = delete;
    CallbackOutput& operator=(const CallbackOutput&) = delete;

    void write(const unsigned char* data, unsigned long size) override {
        const CallbackStore& store = item_.getStore();
        store.throwIfCancelled();
        if (!isOpen_)
            check(failure_ = store.callbacks.begin_write(store.data, item_.getName(), &stream_));
        isOpen_ = true;
        const int value = size != 0 ? store.callbacks.write(store.data, stream_, data, size) : 0;
        if (value != 0) {
            end(); // what is written next is new content
            failure_ = value;
        }
        check(value);
    }

    bool isDone() const override { return !isOpen_; }
    void flush() override {}
    void close() override { check(end()); }

    /// @return what the store says.
    int end() noexcept {
        const CallbackStore& store = item_.getStore();
        if (std::exchange(isOpen_, false))
            failure_ = store.callbacks.end_write(store.data, stream_);
        return failure_;
    }

private:
    void check(int value) const { item_.getStore().check(value, item_.message("cannot write it")); }

    const Item& item_;
    void* stream_ = nullptr;
    bool isOpen_ = false;
    int failure_ = 0; ///< for which the item has no whole content, until it is written anew
};

class CallbackPart final : public IPhysicalPart {
public:
    CallbackPart(const CallbackStore& store, std::u16string name, std::u16string contentType)
        : item_(store, detail::toUTF8String(name)), name_(std::move(name)), contentType_(std::move(contentType)) {}

    std::u16string getName() const override { return name_; }
    std::u16string getContentType() const override { return contentType_; }
    IPhysicalInputStream* getInputStream() override { return &input_; }
    IPhysicalOutputStream* getOutputStream() override { return &output_; }

    /// Ends what is still read or written.
    void endStreams() noexcept {
        input_.close();
        output_.end();
    }

    void throwIfNotWhole() { output_.close(); }

private:
    Item item_;
    std::u16string name_;
    std::u16string contentType_;
    CallbackInput input_{item_};
    CallbackOutput output_{item_};
};

class CallbackPackage final : public IPhysicalPackage {
public:
    explicit CallbackPackage(const CallbackStore& store) : store_(store) {}
    ~CallbackPackage() override {
        if (isOpen_)
            end(true);
    }

    CallbackPackage(const CallbackPackage&) = delete;
    CallbackPackage& operator=(const CallbackPackage&) = delete;

    bool hasContentTypeStream() const override { return store_.callbacks.has_content_types_stream; }
    IPhysicalInputStream* getContentTypeInputStream() override { return &typesInput_; }
    IPhysicalOutputStream* getContentTypeOutputStream() override { return &typesOutput_; }

    void open(const OpenMode& mode) override {
        const opcraft_mode given = mode == OpenMode::ReadOnly    ? OPCRAFT_MODE_READ
                                   : mode == OpenMode::ReadWrite ? OPCRAFT_MODE_CHANGE
                                                                 : OPCRAFT_MODE_CREATE;
        store_.throwIfCancelled();
        store_.check(store_.callbacks.open(store_.data, given), "the store cannot be opened");
        isOpen_ = true;
    }

    void close(bool discard) override {
        if (!discard)
            for (const auto& [name, part] : parts_)
                part->throwIfNotWhole();
        store_.check(end(discard), "the store cannot be closed");
        isOpen_ = false;
        parts_.clear();
    }

    std::vector<IPhysicalPart*> getParts() override {
        opcraft_listing listing;
        store_.check(store_.callbacks.list(store_.data, &listing), "the store cannot list its parts");
        std::vector<IPhysicalPart*> parts;
        for (auto& [name, contentType] : listing.parts)
            parts.push_back(&add(name, contentType));
        return parts;
    }

    IPhysicalPart* createPart(const std::u16string& name, const std::u16string& contentType,
                              const IPhysicalPartInfo& /*info*/) override {
        const std::string given = detail::toUTF8String(name);
        store_.check(store_.callbacks.create(store_.data, given.c_str(), detail::toUTF8String(contentType).c_str()),
                     given + ": the store cannot create it");
        return &add(name, contentType);
    }

    void deletePart(const std::u16string& name) override {
        const std::string given = detail::toUTF8String(name);
        store_.check(store_.callbacks.remove(store_.data, given.c_str()), given + ": the store cannot delete it");
        parts_.erase(name);
    }

private:
    IPhysicalPart& add(const std::u16string& name, const std::u16string& contentType) {
        auto part = std::make_unique<CallbackPart>(store_, name, contentType);
        return *parts_.emplace(name, std::move(part))->second;
    }

    /// Closes the store, of which no stream is open then.
    int end(bool discard) noexcept {
        for (const auto& entry : parts_)
            entry.second->endStreams();
        typesInput_.close();
        typesOutput_.end();
        return store_.callbacks.close(store_.data, discard);
    }

    const CallbackStore& store_;
    std::multimap<std::u16string, std::unique_ptr<CallbackPart>> parts_{}; // the model refuses duplicate names
    Item types_{store_, ""};
    CallbackInput typesInput_{types_};
    CallbackOutput typesOutput_{types_};
    bool isOpen_ = false;
};

std::unique_ptr<IPhysicalPackage> CallbackStore::makePhysical(OpenMode /*mode*/, bool /*consistent*/) {
    return std::make_unique<CallbackPackage>(*this);
}

void throwIfIncomplete(const opcraft_store_callbacks& callbacks) {
    if (callbacks.open == nullptr || callbacks.close == nullptr || callbacks.list == nullptr ||
        callbacks.begin_read == nullptr || callbacks.read == nullptr || callbacks.end_read == nullptr ||
        callbacks.begin_write == nullptr || callbacks.write == nullptr || callbacks.end_write == nullptr ||
        callbacks.create == nullptr || callbacks.remove == nullptr)
        throwInvalidArgument("callbacks: a function is NULL");
}

} // namespace

} // namespace opc::c

using namespace opc::c;

int opcraft_listing_add(opcraft_listing* listing, const char* name, const char* content_type) {
    if (listing == nullptr || name == nullptr)
        return EINVAL;
    try {
        listing->parts.emplace_back(opc::toString(std::string_view(name)),
                                    opc::toString(std::string_view(content_type != nullptr ? content_type : "")));
        return 0;
    } catch (const opc::Exception&) {
        return EILSEQ;
    } catch (...) {
        return ENOMEM;
    }
}

opcraft_store* opcraft_store_new_callbacks(const opcraft_store_callbacks* callbacks, void* data,
                                           const opcraft_store_options* options, opcraft_error** error) {
    return guarded(
        error, static_cast<opcraft_store*>(nullptr),
        [&]() -> opcraft_store* {
            const opcraft_store_callbacks given = read(&required(callbacks, "callbacks"), "callbacks");
            throwIfIncomplete(given);
            auto store = std::make_unique<CallbackStore>(given, data);
            readStoreOptions(options, *store);
            return store.release();
        });
}
