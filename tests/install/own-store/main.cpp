// SPDX-License-Identifier: Apache-2.0
// A read-only store of one part that keeps no content types stream, as a program with a format of its own may have it.
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace {

[[noreturn]] void refuse() {
    throw opc::Exception("This store cannot be changed.",
                         make_error_code(boost::system::errc::operation_not_permitted));
}

class Greeting final : public opc::interfaces::IPhysicalPart, public opc::interfaces::IPhysicalInputStream {
public:
    std::u16string getName() const override { return u"/greeting.txt"; }
    std::u16string getContentType() const override { return u"text/plain"; }
    opc::interfaces::IPhysicalInputStream* getInputStream() override { return this; }
    opc::interfaces::IPhysicalOutputStream* getOutputStream() override { refuse(); }

    void open() override { position_ = 0; }
    unsigned long read(unsigned char* buffer, unsigned long size) override {
        const auto count = std::min<std::size_t>(size, text_.size() - position_);
        std::copy_n(text_.begin() + static_cast<std::ptrdiff_t>(position_), count, buffer);
        position_ += count;
        return count;
    }
    bool isDone() const override { return position_ == text_.size(); }
    void close() override {}

private:
    std::string text_ = "Hello";
    std::size_t position_ = 0;
};

class Store final : public opc::interfaces::IPhysicalPackage {
public:
    bool hasContentTypeStream() const override { return false; }
    opc::interfaces::IPhysicalInputStream* getContentTypeInputStream() override { return nullptr; }
    opc::interfaces::IPhysicalOutputStream* getContentTypeOutputStream() override { return nullptr; }
    std::vector<opc::interfaces::IPhysicalPart*> getParts() override { return {&greeting_}; }
    void open(const opc::interfaces::OpenMode&) override {}
    void close(bool) override {}
    opc::interfaces::IPhysicalPart* createPart(const std::u16string&, const std::u16string&,
                                               const opc::interfaces::IPhysicalPartInfo&) override {
        refuse();
    }
    void deletePart(const std::u16string&) override { refuse(); }

private:
    Greeting greeting_;
};

} // namespace

int main() {
    Store store;
    opc::model::Package package(store);
    package.open(opc::interfaces::OpenMode::ReadWrite);
    opc::InputStream* stream = package.getPart(u"/greeting.txt").getInputStream();
    unsigned char text[16];
    stream->open();
    std::cout.write(reinterpret_cast<const char*>(text), static_cast<std::streamsize>(stream->read(text, sizeof text)));
    std::cout << " from " << package.getParts().size() << " part\n";
    try {
        package.createExternalRelationship(u"http://type", u"http://target");
        return EXIT_FAILURE;
    } catch (const opc::model::PartCreateFailed& e) {
        std::cout << "As expected: " << e.what() << '\n';
    }
    return EXIT_SUCCESS;
}
