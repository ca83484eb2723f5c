// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/core/interfaces/IPhysicalOutputStream.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>
#include <opc/core/interfaces/IPhysicalPartInfo.hpp>

#include <boost/system/error_code.hpp>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace opc::test {

/// A physical package that takes any content and any name without a question, notes every call, and fails where it is
/// told to: `failures["createPart"] = errc::…` makes that operation throw, "deletePart /a.xml" that for one part. A new
/// part replaces one of its name.
class ScriptedPackage final : public interfaces::IPhysicalPackage {
public:
    class Part final : public interfaces::IPhysicalPart,
                       public interfaces::IPhysicalInputStream,
                       public interfaces::IPhysicalOutputStream {
    public:
        Part(ScriptedPackage& package, std::u16string name, std::u16string type, std::string bytes)
            : bytes_(std::move(bytes)), package_(package), name_(std::move(name)), type_(std::move(type)) {}

        std::u16string getName() const override { return name_; }
        std::u16string getContentType() const override { return type_; }
        interfaces::IPhysicalInputStream* getInputStream() override {
            package_.step("getInputStream");
            return this;
        }
        interfaces::IPhysicalOutputStream* getOutputStream() override {
            package_.step("getOutputStream");
            return this;
        }

        void open() override { position_ = 0; }
        unsigned long read(unsigned char* buffer, unsigned long size) override {
            package_.step("read");
            const auto count = std::min<std::size_t>(size, bytes_.size() - position_);
            std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(position_), count, buffer);
            position_ += count;
            return count;
        }
        void write(const unsigned char* data, unsigned long size) override {
            if (closed_)
                bytes_.clear();
            closed_ = false;
            bytes_.append(data, data + size);
            package_.step("write");
        }
        bool isDone() const override { return position_ == bytes_.size(); }
        void flush() override {}
        void close() override { closed_ = true; }

        std::string bytes_;

    private:
        ScriptedPackage& package_;
        std::u16string name_;
        std::u16string type_;
        std::size_t position_ = 0;
        bool closed_ = true;
    };

    /// Without a content types stream.
    ScriptedPackage() = default;
    explicit ScriptedPackage(std::string contentTypes)
        : contentTypes_(std::make_unique<Part>(*this, u"[Content_Types].xml", u"", std::move(contentTypes))) {}

    ScriptedPackage& add(const std::u16string& name, const std::string& bytes = {},
                         const std::u16string& type = u"a/b") {
        parts_.push_back(std::make_unique<Part>(*this, name, type, bytes));
        return *this;
    }
    const std::string& contentTypes() const { return contentTypes_->bytes_; }
    bool has(const std::u16string& name) const { return find(name) != nullptr; }
    const std::string& bytes(const std::u16string& name) const { return find(name)->bytes_; }

    bool hasContentTypeStream() const override { return contentTypes_ != nullptr; }
    interfaces::IPhysicalInputStream* getContentTypeInputStream() override {
        step("getContentTypeInputStream");
        return contentTypes_.get();
    }
    interfaces::IPhysicalOutputStream* getContentTypeOutputStream() override {
        step("getContentTypeOutputStream");
        return contentTypes_.get();
    }
    std::vector<interfaces::IPhysicalPart*> getParts() override {
        step("getParts");
        std::vector<interfaces::IPhysicalPart*> parts;
        for (const auto& part : parts_)
            parts.push_back(part.get());
        return parts;
    }
    void open(const interfaces::OpenMode& mode) override { step("open " + std::to_string(static_cast<int>(mode))); }
    void close(bool discard) override { step(discard ? "close discard" : "close"); }
    interfaces::IPhysicalPart* createPart(const std::u16string& name, const std::u16string& type,
                                          const interfaces::IPhysicalPartInfo& /*info*/) override {
        step("createPart");
        erase(name);
        add(name, {}, type);
        return parts_.back().get();
    }
    void deletePart(const std::u16string& name) override {
        step("deletePart");
        failIfTold("deletePart " + toASCIIString(name));
        erase(name);
        failIfTold("deleted " + toASCIIString(name));
    }

    std::map<std::string, boost::system::errc::errc_t> failures;
    std::vector<std::string> calls;

private:
    Part* find(const std::u16string& name) const {
        for (const auto& part : parts_)
            if (part->getName() == name)
                return part.get();
        return nullptr;
    }
    void erase(const std::u16string& name) {
        const auto isNamed = [&name](const auto& part) { return part->getName() == name; };
        parts_.erase(std::remove_if(parts_.begin(), parts_.end(), isNamed), parts_.end());
    }
    void step(const std::string& call) {
        calls.push_back(call);
        failIfTold(call);
    }
    void failIfTold(const std::string& call) const {
        const auto failure = failures.find(call);
        if (failure != failures.end())
            throw Exception("refused " + call, make_error_code(failure->second));
    }

    std::unique_ptr<Part> contentTypes_;
    std::vector<std::unique_ptr<Part>> parts_;
};

} // namespace opc::test
