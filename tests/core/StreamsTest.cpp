// SPDX-License-Identifier: Apache-2.0
#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/ByteArrayOutAdaptor.hpp>
#include <opc/core/Exception.hpp>
#include <opc/core/InputStreamSource.hpp>

#include <boost/iostreams/stream.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string>

namespace opc {
namespace {

using Bytes = std::vector<unsigned char>;

Bytes toBytes(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

// What is read from here on, in pieces of the given size.
std::string readAll(InputStream& stream, unsigned long pieceSize = 3) {
    std::string result;
    Bytes piece(pieceSize);
    while (const unsigned long count = stream.read(piece.data(), pieceSize))
        result.append(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
    return result;
}

TEST(ByteArrayInAdaptor, ReadsItsBytesInPiecesAndAfresh) {
    const Bytes bytes = toBytes(std::string("ab\0de\xFFg", 7));
    ByteArrayInAdaptor stream(bytes);
    EXPECT_FALSE(stream.isDone());
    EXPECT_EQ(readAll(stream), std::string("ab\0de\xFFg", 7)); // open from the start
    EXPECT_TRUE(stream.isDone());

    stream.open();
    std::array<unsigned char, 4> piece{};
    EXPECT_EQ(stream.read(piece.data(), 4), 4u);
    EXPECT_EQ(stream.read(piece.data(), 4), 3u); // what is left, no more
    EXPECT_EQ(stream.read(piece.data(), 4), 0u);

    stream.open();
    EXPECT_EQ(stream.read(nullptr, 0), 0u);
    EXPECT_FALSE(stream.isDone());
    stream.read(piece.data(), 2);
    stream.open(); // in the middle
    EXPECT_EQ(readAll(stream, 100).size(), 7u);
}

TEST(ByteArrayInAdaptor, GivesNothingWhenClosedOrEmpty) {
    const Bytes bytes = toBytes("abc");
    ByteArrayInAdaptor stream(bytes);
    stream.close();
    stream.close();
    EXPECT_EQ(readAll(stream), "");
    stream.open();
    EXPECT_EQ(readAll(stream), "abc");

    const Bytes none;
    ByteArrayInAdaptor empty(none);
    EXPECT_TRUE(empty.isDone());
    EXPECT_EQ(readAll(empty), "");
}

TEST(ByteArrayInAdaptor, FollowsAVectorThatChanges) {
    Bytes bytes = toBytes("abcdef");
    ByteArrayInAdaptor stream(bytes);
    std::array<unsigned char, 4> piece{};
    stream.read(piece.data(), 4);
    bytes.resize(2); // shorter than what was read
    EXPECT_TRUE(stream.isDone());
    EXPECT_EQ(stream.read(piece.data(), 4), 0u);
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

// Gives at most two bytes at a time, and throws after `failAt` bytes.
class HaltingStream : public InputStream {
public:
    HaltingStream(std::string text, std::size_t failAt) : text_(std::move(text)), failAt_(failAt) {}
    void open() override { position_ = 0; }
    unsigned long read(unsigned char* buffer, unsigned long size) override {
        if (position_ >= failAt_)
            throw Exception("halted");
        const auto count = std::min({size, 2ul, static_cast<unsigned long>(text_.size() - position_)});
        std::copy_n(text_.begin() + static_cast<std::ptrdiff_t>(position_), count, buffer);
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
    for (std::size_t i = 0; i < text.size(); ++i)
        text[i] = static_cast<char>(i * 7 % 256);
    HaltingStream stream(text, text.size() + 1);
    boost::iostreams::stream<InputStreamSource> in{InputStreamSource(stream)};
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), text);
}

TEST(InputStreamSource, FillsTheBufferAndReportsTheEndOnce) {
    HaltingStream stream("abcde", 100);
    InputStreamSource source(stream);
    InputStreamSource copy = source;
    std::array<char, 8> buffer{};
    EXPECT_EQ(source.read(buffer.data(), 0), 0);
    EXPECT_EQ(source.read(buffer.data(), 3), 3); // although the stream gives two bytes at a time
    EXPECT_EQ(copy.read(buffer.data(), 8), 2);   // a copy reads on
    EXPECT_EQ(std::string(buffer.data(), 2), "de");
    EXPECT_EQ(source.read(buffer.data(), 8), -1);
    EXPECT_EQ(source.read(buffer.data(), 8), -1);
}

TEST(InputStreamSource, LetsTheErrorOfTheStreamThrough) {
    HaltingStream stream("abcdef", 4);
    InputStreamSource source(stream);
    std::array<char, 8> buffer{};
    EXPECT_THROW(source.read(buffer.data(), 8), Exception);
}

} // namespace
} // namespace opc
