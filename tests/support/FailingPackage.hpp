// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/core/interfaces/IPhysicalOutputStream.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>

#include <boost/system/error_code.hpp>

#include <list>
#include <string>
#include <vector>

namespace opc::test {

/// Counts the operations of a physical package, and has one of them fail.
class OperationFaults {
public:
    using Code = boost::system::errc::errc_t;

    /// The operation of this number fails, counted from 1 and from now on; 0 for none.
    void arm(unsigned long number, Code code) {
        failing_ = number;
        code_ = code;
        count_ = 0;
        fired_.clear();
    }
    void disarm() { failing_ = 0; }

    unsigned long count() const { return count_; }
    /// The operation that failed; empty when none did.
    const std::string& fired() const { return fired_; }

    /// True when the operation that is under way is to fail.
    bool isNext(const char* operation) {
        if (++count_ != failing_)
            return false;
        fired_ = operation;
        return true;
    }
    void step(const char* operation) {
        if (isNext(operation))
            fail();
    }
    [[noreturn]] void fail() const { throw Exception("refused " + fired_, make_error_code(code_)); }

private:
    unsigned long failing_ = 0;
    unsigned long count_ = 0;
    Code code_ = Code::io_error;
    std::string fired_;
};

/// Any physical package, whose operations, and those of its parts and streams, fail as `OperationFaults` says. What
/// fails is not done, but for a write, of which half is done. Owns neither the package nor the faults.
class FailingPackage final : public interfaces::IPhysicalPackage {
    /// A stream of one direction; the other one is null.
    class Stream final : public interfaces::IPhysicalInputStream, public interfaces::IPhysicalOutputStream {
    public:
        Stream(interfaces::IPhysicalInputStream* input, interfaces::IPhysicalOutputStream* output,
               OperationFaults& faults)
            : input_(input), output_(output), faults_(faults) {}
        void open() override {
            faults_.step("opening a stream");
            input_->open();
        }
        unsigned long read(unsigned char* buffer, unsigned long size) override {
            faults_.step("a read");
            return input_->read(buffer, size);
        }
        void write(const unsigned char* data, unsigned long size) override {
            const bool fails = faults_.isNext("a write");
            output_->write(data, fails ? size / 2 : size);
            if (fails)
                faults_.fail();
        }
        bool isDone() const override { return input_ ? input_->isDone() : output_->isDone(); }
        void flush() override {
            faults_.step("flushing an output stream");
            output_->flush();
        }
        void close() override {
            faults_.step(input_ ? "closing an input stream" : "closing an output stream");
            input_ ? input_->close() : output_->close();
        }

    private:
        interfaces::IPhysicalInputStream* input_;
        interfaces::IPhysicalOutputStream* output_;
        OperationFaults& faults_;
    };

    class Part final : public interfaces::IPhysicalPart {
    public:
        Part(interfaces::IPhysicalPart* part, FailingPackage& package) : part_(part), package_(package) {}
        std::u16string getName() const override {
            package_.faults_.step("asking for a name");
            return part_->getName();
        }
        std::u16string getContentType() const override {
            package_.faults_.step("asking for a content type");
            return part_->getContentType();
        }
        interfaces::IPhysicalInputStream* getInputStream() override {
            package_.faults_.step("asking for an input stream");
            return package_.stream(part_->getInputStream(), nullptr);
        }
        interfaces::IPhysicalOutputStream* getOutputStream() override {
            package_.faults_.step("asking for an output stream");
            return package_.stream(nullptr, part_->getOutputStream());
        }

    private:
        interfaces::IPhysicalPart* part_;
        FailingPackage& package_;
    };

public:
    FailingPackage(interfaces::IPhysicalPackage& package, OperationFaults& faults)
        : package_(package), faults_(faults) {}

    bool hasContentTypeStream() const override { return package_.hasContentTypeStream(); }
    interfaces::IPhysicalInputStream* getContentTypeInputStream() override {
        faults_.step("asking for the content types");
        return stream(package_.getContentTypeInputStream(), nullptr);
    }
    interfaces::IPhysicalOutputStream* getContentTypeOutputStream() override {
        faults_.step("asking for the output of content types");
        return stream(nullptr, package_.getContentTypeOutputStream());
    }
    std::vector<interfaces::IPhysicalPart*> getParts() override {
        faults_.step("listing the parts");
        std::vector<interfaces::IPhysicalPart*> parts = package_.getParts();
        for (interfaces::IPhysicalPart*& each : parts)
            each = part(each);
        return parts;
    }
    void open(const interfaces::OpenMode& mode) override {
        faults_.step("opening");
        package_.open(mode);
    }
    void close(bool discard) override {
        faults_.step(discard ? "closing with discard" : "closing");
        package_.close(discard);
        streams_.clear();
        parts_.clear();
    }
    interfaces::IPhysicalPart* createPart(const std::u16string& name, const std::u16string& contentType,
                                          const interfaces::IPhysicalPartInfo& info) override {
        faults_.step("creating a part");
        return part(package_.createPart(name, contentType, info));
    }
    void deletePart(const std::u16string& name) override {
        faults_.step("deleting a part");
        package_.deletePart(name);
    }

private:
    Stream* stream(interfaces::IPhysicalInputStream* input, interfaces::IPhysicalOutputStream* output) {
        return &streams_.emplace_back(input, output, faults_);
    }
    Part* part(interfaces::IPhysicalPart* wrapped) { return &parts_.emplace_back(wrapped, *this); }

    interfaces::IPhysicalPackage& package_;
    OperationFaults& faults_;
    std::list<Stream> streams_; ///< until the package is closed
    std::list<Part> parts_;
};

} // namespace opc::test
