// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/core/interfaces/IPhysicalOutputStream.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace opc::test {

/// A physical package as a caller would write it who knows the interfaces alone: the smallest that keeps all rules.
class OwnPackage final : public interfaces::IPhysicalPackage {
    using OpenMode = interfaces::OpenMode;
    using Errc = boost::system::errc::errc_t;

    [[noreturn]] static void fail(Errc code) { throw Exception("own package", make_error_code(code)); }

    struct Item {
        std::u16string name;
        std::u16string type;
        std::string bytes;
    };

    class Part final : public interfaces::IPhysicalPart, public interfaces::IPhysicalOutputStream {
    public:
        Part(Item stored, OpenMode mode) : item(std::move(stored)), mode_(mode) {}

        std::u16string getName() const override { return item.name; }
        std::u16string getContentType() const override { return item.type; }
        interfaces::IPhysicalInputStream* getInputStream() override { return &input_; }
        interfaces::IPhysicalOutputStream* getOutputStream() override {
            if (mode_ == OpenMode::ReadOnly)
                fail(Errc::operation_not_permitted);
            return this;
        }
        void write(const unsigned char* data, unsigned long size) override {
            if (!writing_)
                item.bytes.clear();
            writing_ = true;
            item.bytes.append(data, data + size);
        }
        bool isDone() const override { return !writing_; }
        void flush() override {}
        void close() override { writing_ = false; }

        Item item;

    private:
        struct Input final : interfaces::IPhysicalInputStream {
            explicit Input(Part& owner) : part(owner) {}
            void open() override {
                if (part.mode_ == OpenMode::CreateOnly)
                    fail(Errc::operation_not_permitted);
                bytes = part.item.bytes;
                position = 0;
            }
            unsigned long read(unsigned char* buffer, unsigned long size) override {
                const std::size_t count = bytes.copy(reinterpret_cast<char*>(buffer), size, position);
                position += count;
                return count;
            }
            bool isDone() const override { return position == bytes.size(); }
            void close() override {}

            Part& part;
            std::string bytes;
            std::size_t position = 0;
        };

        OpenMode mode_;
        bool writing_ = false;
        Input input_{*this};
    };

public:
    bool hasContentTypeStream() const override { return true; }

    interfaces::IPhysicalInputStream* getContentTypeInputStream() override {
        throwIfClosed();
        return contentTypes_->getInputStream();
    }
    interfaces::IPhysicalOutputStream* getContentTypeOutputStream() override {
        throwIfClosed();
        return contentTypes_->getOutputStream();
    }
    std::vector<interfaces::IPhysicalPart*> getParts() override {
        throwIfClosed();
        std::vector<interfaces::IPhysicalPart*> parts;
        for (const auto& part : parts_)
            parts.push_back(part.get());
        return parts;
    }
    void open(const OpenMode& mode) override {
        if (mode_)
            fail(Errc::bad_file_descriptor);
        if (mode != OpenMode::CreateOnly && !saved_)
            fail(Errc::no_such_file_or_directory);
        mode_ = mode;
        contentTypes_ = std::make_unique<Part>(Item{u"", u"", mode == OpenMode::CreateOnly ? "" : savedTypes_}, mode);
        if (mode != OpenMode::CreateOnly)
            for (const Item& item : *saved_)
                parts_.push_back(std::make_unique<Part>(item, mode));
    }
    void close(bool discard) override {
        throwIfClosed();
        if (!discard && mode_ != OpenMode::ReadOnly) {
            savedTypes_ = contentTypes_->item.bytes;
            saved_.emplace();
            for (const auto& part : parts_)
                saved_->push_back(part->item);
        }
        mode_.reset();
        parts_.clear();
    }
    interfaces::IPhysicalPart* createPart(const std::u16string& name, const std::u16string& contentType,
                                          const interfaces::IPhysicalPartInfo&) override {
        throwIfReadOnly();
        if (!detail::isPartName(name))
            fail(Errc::invalid_argument);
        if (find(name) != parts_.end())
            fail(Errc::file_exists);
        return parts_.emplace_back(std::make_unique<Part>(Item{name, contentType, ""}, *mode_)).get();
    }
    void deletePart(const std::u16string& name) override {
        throwIfReadOnly();
        if (mode_ == OpenMode::CreateOnly)
            fail(Errc::operation_not_permitted);
        if (find(name) == parts_.end())
            fail(Errc::no_such_file_or_directory);
        parts_.erase(find(name));
    }

private:
    void throwIfClosed() const {
        if (!mode_)
            fail(Errc::bad_file_descriptor);
    }
    void throwIfReadOnly() const {
        throwIfClosed();
        if (mode_ == OpenMode::ReadOnly)
            fail(Errc::operation_not_permitted);
    }
    std::vector<std::unique_ptr<Part>>::iterator find(const std::u16string& name) {
        return std::find_if(parts_.begin(), parts_.end(),
                            [&](const auto& part) { return caselessCompare(part->item.name, name) == 0; });
    }

    std::optional<OpenMode> mode_;
    std::unique_ptr<Part> contentTypes_;
    std::vector<std::unique_ptr<Part>> parts_;
    std::string savedTypes_;
    std::optional<std::vector<Item>> saved_;
};

} // namespace opc::test
