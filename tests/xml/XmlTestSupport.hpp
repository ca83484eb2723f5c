// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace opc::model::test {

/// Delivers `head`, then `unit` again and again, then `tail`, without holding them; finds its end only by a read.
class RepeatingStream final : public InputStream {
public:
    RepeatingStream(std::string head, std::string unit, std::uint64_t times, std::string tail)
        : head_(std::move(head)), unit_(std::move(unit)), tail_(std::move(tail)), repeated_(unit_.size() * times) {}

    void open() override { position_ = 0; }
    bool isDone() const override { return done_; }
    void close() override {}

    unsigned long read(unsigned char* buffer, unsigned long size) override {
        unsigned long count = 0;
        for (; count < std::min(size, largestRead) && position_ < length(); ++count) {
            buffer[count] = static_cast<unsigned char>(at(position_++));
        }
        done_ = count == 0;
        return count;
    }

    unsigned long largestRead = 65536;

private:
    std::uint64_t length() const { return head_.size() + repeated_ + tail_.size(); }

    char at(std::uint64_t position) const {
        if (position < head_.size()) {
            return head_[position];
        }
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

/// Throws in the read that follows its text, which the caller chooses.
class FailingStream final : public InputStream {
public:
    FailingStream(std::string text, std::function<void()> failure)
        : text_(std::move(text)), failure_(std::move(failure)) {}
    void open() override {}
    bool isDone() const override { return false; }
    void close() override {}
    unsigned long read(unsigned char* buffer, unsigned long size) override {
        if (position_ == text_.size()) {
            failure_();
        }
        const auto count = std::min<unsigned long>(size, text_.size() - position_);
        std::copy_n(text_.begin() + static_cast<std::ptrdiff_t>(position_), count, buffer);
        position_ += count;
        return count;
    }

private:
    std::string text_;
    std::size_t position_ = 0;
    std::function<void()> failure_;
};

inline std::vector<unsigned char> toBytes(std::string_view text) {
    return {text.begin(), text.end()};
}

/// UTF-16 in the order of this machine.
inline std::vector<unsigned char> toBytes(std::u16string_view text) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    return {bytes, bytes + text.size() * sizeof(char16_t)};
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
    xercesc::DOMDocument* readBytes(const std::vector<unsigned char>& bytes, bool validate = false) {
        ByteArrayInAdaptor stream(bytes);
        return XercesHelper::readDocumentFromStream(*parser_, stream, validate, u"", u"");
    }

    xercesc::DOMDocument* read(std::string_view text, bool validate = false) {
        return readBytes(toBytes(text), validate);
    }

    xercesc::DOMElement* readRoot(std::string_view text) { return read(text)->getDocumentElement(); }

    std::string verdict(std::string_view text, bool validate = false) {
        return verdictOf([&] { read(text, validate); });
    }

    std::string verdict(InputStream& stream, bool validate = false) {
        return verdictOf([&] { XercesHelper::readDocumentFromStream(*parser_, stream, validate, u"", u""); });
    }

    XercesGuard guard_;
    ParserHandle parser_ = XercesHelper::createParser();
};

} // namespace opc::model::test
