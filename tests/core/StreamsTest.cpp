// SPDX-License-Identifier: Apache-2.0
#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/ByteArrayOutAdaptor.hpp>
#include <opc/core/Exception.hpp>
#include <opc/core/InputStreamSource.hpp>

#include "support/Bytes.hpp"

#include <boost/iostreams/stream.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>

namespace opc {
namespace {

using test::Bytes;
using test::toBytes;

/// What one read gives, or reads of that size to the end.
std::string read(InputStream& stream, unsigned long size) {
    Bytes piece(size);
    piece.resize(stream.read(piece.data(), size));
    return {piece.begin(), piece.end()};
}

std::string readAll(InputStream& stream) {
    std::string result;
    for (std::string piece = read(stream, 3); !piece.empty(); piece = read(stream, 3))
        result += piece;
    return result;
}

TEST(ByteArrayInAdaptor, ReadsItsBytesInPiecesAndAfresh) {
    const std::string text("ab\0de\xFFg", 7);
    Bytes bytes = toBytes(text);
    ByteArrayInAdaptor stream(bytes);
    EXPECT_FALSE(stream.isDone());
    EXPECT_EQ(readAll(stream), text); // open from the start
    EXPECT_TRUE(stream.isDone());
    stream.open();
    EXPECT_EQ(read(stream, 0), "");
    EXPECT_EQ(read(stream, 4), text.substr(0, 4));
    stream.open(); // in the middle
    EXPECT_EQ(read(stream, 5), text.substr(0, 5));
    EXPECT_EQ(read(stream, 5), text.substr(5)); // what is left, no more
    stream.open();
    stream.close();
    stream.close();
    EXPECT_EQ(read(stream, 5), "") << "when it is closed";
    stream.open();
    read(stream, 4);
    bytes.resize(2); // shorter than what was read
    EXPECT_TRUE(stream.isDone());
    EXPECT_EQ(read(stream, 4), "");
}

TEST(ByteArrayOutAdaptor, AppendsUntilClosedAndThenStartsAnew) {
    Bytes bytes = toBytes("x");
    ByteArrayOutAdaptor stream(bytes);
    const auto write = [&](const std::string& text) { stream.write(toBytes(text).data(), text.size()); };
    EXPECT_FALSE(stream.isDone());
    write("ab");
    stream.flush();
    write("c");
    EXPECT_EQ(bytes, toBytes("xabc")); // behind what was there
    stream.close();
    stream.close();
    EXPECT_TRUE(stream.isDone());
    EXPECT_EQ(bytes, toBytes("xabc")); // a close changes nothing
    write("d");
    EXPECT_FALSE(stream.isDone());
    write("e");
    EXPECT_EQ(bytes, toBytes("de"));
    stream.close();
    stream.write(nullptr, 0); // new content, and empty
    EXPECT_TRUE(bytes.empty());
}

/// Gives at most two bytes at a time, and throws after `failAt` bytes.
class HaltingStream : public InputStream {
public:
    HaltingStream(std::string text, std::size_t failAt) : text_(std::move(text)), failAt_(failAt) {}
    void open() override {}
    unsigned long read(unsigned char* buffer, unsigned long size) override {
        if (position_ >= failAt_)
            throw Exception("halted");
        const auto count = text_.copy(reinterpret_cast<char*>(buffer), std::min(size, 2ul), position_);
        position_ += count;
        return count;
    }
    bool isDone() const override { return position_ == text_.size(); }
    void close() override {}

private:
    std::string text_;
    std::size_t failAt_;
    std::size_t position_ = 0;
};

TEST(InputStreamSource, IsAStandardStreamOfTheSameBytes) {
    std::string text(10'001, '\0');
    std::generate(text.begin(), text.end(), [byte = 0]() mutable { return static_cast<char>(byte += 7); });
    HaltingStream stream(text, text.size() + 1);
    boost::iostreams::stream<InputStreamSource> in{InputStreamSource(stream)};
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), text);
}

TEST(InputStreamSource, FillsTheBufferReportsTheEndAndLetsTheErrorOfTheStreamThrough) {
    HaltingStream stream("abcde", 100);
    InputStreamSource source(stream);
    InputStreamSource copy = source;
    char buffer[8];
    EXPECT_EQ(source.read(buffer, 0), 0);
    EXPECT_EQ(source.read(buffer, 3), 3); // although the stream gives two bytes at a time
    EXPECT_EQ(copy.read(buffer, 8), 2);   // a copy reads on
    EXPECT_EQ(std::string(buffer, 2), "de");
    EXPECT_EQ(source.read(buffer, 8), -1);
    EXPECT_EQ(source.read(buffer, 8), -1);
    HaltingStream failing("abcdef", 4);
    EXPECT_THROW(InputStreamSource(failing).read(buffer, 8), Exception);
}

} // namespace
} // namespace opc
