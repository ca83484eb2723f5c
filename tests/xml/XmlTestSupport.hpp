// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include "support/Table.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace opc::model::test {

using opc::test::readTable;
using xercesc::DOMDocument;
using xercesc::DOMElement;
using xercesc::XMLUni;

/// Delivers `head`, then `unit` again and again, then `tail`, without holding them; finds its end only by a read, in
/// which it does what the caller chooses.
class RepeatingStream final : public InputStream {
public:
    RepeatingStream(std::string head, std::string unit, std::uint64_t times, std::string tail)
        : head_(std::move(head)), unit_(std::move(unit)), tail_(std::move(tail)), repeated_(unit_.size() * times) {}

    void open() override { position_ = 0; }
    bool isDone() const override { return done_; }
    void close() override {}
    unsigned long read(unsigned char* buffer, unsigned long size) override {
        unsigned long count = 0;
        for (; count < std::min(size, largestRead) && position_ < head_.size() + repeated_ + tail_.size(); ++count)
            buffer[count] = static_cast<unsigned char>(at(position_++));
        done_ = count == 0;
        if (done_)
            atEnd();
        return count;
    }

    unsigned long largestRead = 65536;
    std::function<void()> atEnd = [] {};

private:
    char at(std::uint64_t position) const {
        if (position < head_.size())
            return head_[position];
        position -= head_.size();
        return position < repeated_ ? unit_[position % unit_.size()] : tail_[position - repeated_];
    }

    std::string head_;
    std::string unit_;
    std::string tail_;
    std::uint64_t repeated_;
    std::uint64_t position_ = 0;
    bool done_ = false;
};

/// In the order of this machine.
inline std::string toUTF16Bytes(std::u16string_view text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

/// The message of the refusal, or "accepted".
template <class Action>
std::string verdictOf(Action action) {
    try {
        action();
    } catch (const InvalidXMLDocument& e) {
        return e.what();
    }
    return "accepted";
}

class XmlTest : public ::testing::Test {
protected:
    DOMDocument* read(std::string_view text, bool validate = false) {
        const std::vector<unsigned char> bytes(text.begin(), text.end());
        ByteArrayInAdaptor stream(bytes);
        return read(stream, validate);
    }
    DOMDocument* read(InputStream& stream, bool validate = false) {
        return XercesHelper::readDocumentFromStream(*parser_, stream, validate, u"", u"");
    }
    DOMDocument* read(const std::u16string& text, bool validate = false) {
        return XercesHelper::readDocumentFromString(*parser_, text, validate, u"", u"");
    }
    DOMElement* readRoot(std::string_view text) { return read(text)->getDocumentElement(); }

    template <class Document>
    std::string verdict(Document&& document, bool validate = false) {
        return verdictOf([&] { read(document, validate); });
    }

    XercesGuard guard_;
    ParserHandle parser_ = XercesHelper::createParser();
};

} // namespace opc::model::test
