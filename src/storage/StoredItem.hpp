// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Content.hpp"
#include "storage/ItemReader.hpp"

#include <opc/core/interfaces/CompressionType.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/core/interfaces/IPhysicalOutputStream.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>
#include <opc/core/interfaces/OpenMode.hpp>

#include <memory>
#include <string>
#include <utility>

namespace opc::storage {

/// The package that holds the bytes of a stored item.
class ItemOrigin {
public:
    /// How the package that holds the item is open.
    struct Opening {
        interfaces::OpenMode mode = interfaces::OpenMode::ReadOnly;
        std::shared_ptr<SpillArea> area{}; ///< for new content; null: it stays in memory
    };

    virtual ~ItemOrigin() = default;

    virtual const Opening& getOpening() const = 0;

    /// Package and item, for the start of messages.
    virtual std::string getLabel() const = 0;

    /// Reads what was stored when the package was opened, from the start at each call.
    virtual std::unique_ptr<ItemReader> readOriginal() = 0;
};

class StoredItem;

class ItemInputStream final : public interfaces::IPhysicalInputStream {
public:
    explicit ItemInputStream(const StoredItem& item) : item_(item) {}
    void open() override;
    unsigned long read(unsigned char* buffer, unsigned long size) override;
    bool isDone() const override { return done_; }
    void close() override { reader_.reset(); }

private:
    const StoredItem& item_;
    std::unique_ptr<ItemReader> reader_;
    bool done_ = false;
};

class ItemOutputStream final : public interfaces::IPhysicalOutputStream {
public:
    explicit ItemOutputStream(StoredItem& item) : item_(item) {}
    void write(const unsigned char* data, unsigned long size) override;
    bool isDone() const override { return !content_; }
    void flush() override {}
    void close() override;

private:
    StoredItem& item_;
    std::shared_ptr<Content> content_; ///< what is being written; null when nothing is
};

/// One item of an open package of either store, with its two streams: what is stored, until something is written.
class StoredItem final : public interfaces::IPhysicalPart {
public:
    /// @param origin not owned; outlives the item.
    /// @param name the part name; empty for an item that is not a part.
    StoredItem(ItemOrigin& origin, std::u16string name,
               interfaces::CompressionType compression = interfaces::CompressionType::Normal);

    StoredItem(const StoredItem&) = delete;
    StoredItem& operator=(const StoredItem&) = delete;

    std::u16string getName() const override { return name_; }
    std::u16string getContentType() const override { return contentType_ ? *contentType_ : std::u16string(); }
    interfaces::IPhysicalInputStream* getInputStream() override;
    interfaces::IPhysicalOutputStream* getOutputStream() override;

    const std::u16string& name() const { return name_; }
    void setContentType(std::shared_ptr<const std::u16string> type) { contentType_ = std::move(type); }
    interfaces::CompressionType compression() const { return compression_; } ///< of new content

    /// New content for this item, to be set by `setContent`.
    std::shared_ptr<Content> makeContent() const;
    void setContent(std::shared_ptr<const Content> content) { content_ = std::move(content); }

    /// The content that was written; null while the item is unchanged.
    const std::shared_ptr<const Content>& getContent() const { return content_; }

    /// @throws opc::Exception operation_not_permitted in a package that is being created.
    std::unique_ptr<ItemReader> startReading() const;

    ItemOrigin& getOrigin() const { return origin_; }
    std::string getLabel() const { return origin_.getLabel(); }

private:
    ItemOrigin& origin_;
    std::u16string name_;
    std::shared_ptr<const std::u16string> contentType_; ///< null where it is not known; few, so items share them
    interfaces::CompressionType compression_;
    std::shared_ptr<const Content> content_;
    std::unique_ptr<ItemInputStream> input_; ///< null until it is asked for
    std::unique_ptr<ItemOutputStream> output_;
};

} // namespace opc::storage
