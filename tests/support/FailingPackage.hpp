// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/core/interfaces/IPhysicalOutputStream.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>

#include <boost/system/error_code.hpp>

#include <map>
#include <memory>
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
    class Input final : public interfaces::IPhysicalInputStream {
    public:
        Input(interfaces::IPhysicalInputStream& stream, OperationFaults& faults) : stream_(stream), faults_(faults) {}
        void open() override {
            faults_.step("opening a stream");
            stream_.open();
        }
        unsigned long read(unsigned char* buffer, unsigned long size) override {
            faults_.step("a read");
            return stream_.read(buffer, size);
        }
        bool isDone() const override { return stream_.isDone(); }
        void close() override {
            faults_.step("closing an input stream");
            stream_.close();
        }

    private:
        interfaces::IPhysicalInputStream& stream_;
        OperationFaults& faults_;
    };

    class Output final : public interfaces::IPhysicalOutputStream {
    public:
        Output(interfaces::IPhysicalOutputStream& stream, OperationFaults& faults) : stream_(stream), faults_(faults) {}
        void write(const unsigned char* data, unsigned long size) override {
            const bool fails = faults_.isNext("a write");
            stream_.write(data, fails ? size / 2 : size);
            if (fails)
                faults_.fail();
        }
        bool isDone() const override { return stream_.isDone(); }
        void flush() override {
            faults_.step("flushing an output stream");
            stream_.flush();
        }
        void close() override {
            faults_.step("closing an output stream");
            stream_.close();
        }

    private:
        interfaces::IPhysicalOutputStream& stream_;
        OperationFaults& faults_;
    };

    class Part final : public interfaces::IPhysicalPart {
    public:
        Part(interfaces::IPhysicalPart& part, OperationFaults& faults) : part_(part), faults_(faults) {}
        std::u16string getName() const override {
            faults_.step("asking for a name");
            return part_.getName();
        }
        std::u16string getContentType() const override {
            faults_.step("asking for a content type");
            return part_.getContentType();
        }
        interfaces::IPhysicalInputStream* getInputStream() override {
            faults_.step("asking for an input stream");
            if (!input_)
                input_ = std::make_unique<Input>(*part_.getInputStream(), faults_);
            return input_.get();
        }
        interfaces::IPhysicalOutputStream* getOutputStream() override {
            faults_.step("asking for an output stream");
            if (!output_)
                output_ = std::make_unique<Output>(*part_.getOutputStream(), faults_);
            return output_.get();
        }

    private:
        interfaces::IPhysicalPart& part_;
        OperationFaults& faults_;
        std::unique_ptr<Input> input_;
        std::unique_ptr<Output> output_;
    };

public:
    FailingPackage(interfaces::IPhysicalPackage& package, OperationFaults& faults)
        : package_(package), faults_(faults) {}

    bool hasContentTypeStream() const override { return package_.hasContentTypeStream(); }
    interfaces::IPhysicalInputStream* getContentTypeInputStream() override {
        faults_.step("asking for the content types");
        if (!typesInput_)
            typesInput_ = std::make_unique<Input>(*package_.getContentTypeInputStream(), faults_);
        return typesInput_.get();
    }
    interfaces::IPhysicalOutputStream* getContentTypeOutputStream() override {
        faults_.step("asking for the output of content types");
        if (!typesOutput_)
            typesOutput_ = std::make_unique<Output>(*package_.getContentTypeOutputStream(), faults_);
        return typesOutput_.get();
    }
    std::vector<interfaces::IPhysicalPart*> getParts() override {
        faults_.step("listing the parts");
        std::vector<interfaces::IPhysicalPart*> parts = package_.getParts();
        for (interfaces::IPhysicalPart*& part : parts)
            part = wrap(*part);
        return parts;
    }
    void open(const interfaces::OpenMode& mode) override {
        faults_.step("opening");
        package_.open(mode);
    }
    void close(bool discard) override {
        faults_.step(discard ? "closing with discard" : "closing");
        package_.close(discard);
        parts_.clear();
        typesInput_.reset();
        typesOutput_.reset();
    }
    interfaces::IPhysicalPart* createPart(const std::u16string& name, const std::u16string& contentType,
                                          const interfaces::IPhysicalPartInfo& info) override {
        faults_.step("creating a part");
        std::unique_ptr<Part>& place = parts_[name];
        place = std::make_unique<Part>(*package_.createPart(name, contentType, info), faults_);
        return place.get();
    }
    void deletePart(const std::u16string& name) override {
        faults_.step("deleting a part");
        package_.deletePart(name);
        parts_.erase(name);
    }

private:
    interfaces::IPhysicalPart* wrap(interfaces::IPhysicalPart& part) {
        std::unique_ptr<Part>& place = parts_[part.getName()];
        if (!place)
            place = std::make_unique<Part>(part, faults_);
        return place.get();
    }

    interfaces::IPhysicalPackage& package_;
    OperationFaults& faults_;
    std::map<std::u16string, std::unique_ptr<Part>> parts_;
    std::unique_ptr<Input> typesInput_;
    std::unique_ptr<Output> typesOutput_;
};

} // namespace opc::test
