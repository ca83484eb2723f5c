// SPDX-License-Identifier: Apache-2.0
#include "contract/ContractTest.hpp"

#include <array>

namespace opc::test {

class PhysicalStreamsContract : public PhysicalPackageContract {
protected:
    /// A read-write package with one part, stored as "0123456789".
    interfaces::IPhysicalPart& openDigits() {
        storePackage({{u"/digits.bin", "0123456789"}, {u"/other.bin", "other"}});
        package.open(OpenMode::ReadWrite);
        return *findPart(package, u"/digits.bin");
    }

    static std::string readSome(interfaces::IPhysicalInputStream& stream, std::size_t size) {
        std::string bytes(size, '\0');
        bytes.resize(stream.read(reinterpret_cast<unsigned char*>(bytes.data()), size));
        return bytes;
    }
};
INSTANTIATE_TEST_SUITE_P(Streams, PhysicalStreamsContract, testing::ValuesIn(allStores()),
                         [](const auto& kind) { return kind.param.name; });

TEST_P(PhysicalStreamsContract, APartHandsOutTheSameStreamsAtEveryCall) {
    interfaces::IPhysicalPart& part = openDigits();
    EXPECT_EQ(part.getInputStream(), part.getInputStream());
    EXPECT_EQ(part.getOutputStream(), part.getOutputStream());
    EXPECT_EQ(&part, findPart(package, u"/digits.bin")) << "and the package the same part";
}

TEST_P(PhysicalStreamsContract, OpenStartsFromTheBeginningWhateverWasRead) {
    interfaces::IPhysicalInputStream& stream = *openDigits().getInputStream();
    for (const std::size_t read : {0U, 3U, 10U, 20U}) {
        stream.open();
        EXPECT_EQ(readSome(stream, read), std::string("0123456789").substr(0, read));
        if (read % 2 == 0)
            stream.close(); // an open without a close does as well
    }
    EXPECT_EQ(readAll(stream), "0123456789");
    stream.close();
    stream.close();
    EXPECT_EQ(readAll(stream), "0123456789");
}

TEST_P(PhysicalStreamsContract, OnlyTheReadThatDeliversNothingMustEndAStream) {
    interfaces::IPhysicalInputStream& stream = *openDigits().getInputStream();
    stream.open();
    EXPECT_FALSE(stream.isDone());
    EXPECT_EQ(readSome(stream, 0), "");
    EXPECT_FALSE(stream.isDone()) << "a read of no bytes is no end";
    EXPECT_EQ(readSome(stream, 9), "012345678");
    EXPECT_FALSE(stream.isDone());
    EXPECT_EQ(readSome(stream, 9), "9");
    EXPECT_EQ(readSome(stream, 9), "");
    EXPECT_TRUE(stream.isDone());
    EXPECT_EQ(readSome(stream, 9), "") << "the end stays the end";
    stream.open();
    EXPECT_FALSE(stream.isDone());
}

TEST_P(PhysicalStreamsContract, SeveralPartsAreReadInTurns) {
    std::map<std::u16string, std::string> parts;
    for (char16_t c = u'a'; c < u'e'; ++c)
        for (int i = 0; i < 30000; ++i)
            parts[{u'/', c}] += std::to_string(i * c);
    storePackage(parts);
    package.open(OpenMode::ReadOnly);
    std::map<std::u16string, std::string> read;
    for (interfaces::IPhysicalPart* part : package.getParts())
        part->getInputStream()->open();
    for (bool more = true; more;) {
        more = false;
        for (interfaces::IPhysicalPart* part : package.getParts()) {
            const std::string bytes = readSome(*part->getInputStream(), 1000U + part->getName()[1]);
            read[part->getName()] += bytes;
            more = more || !bytes.empty();
        }
    }
    EXPECT_EQ(read, parts);
}

TEST_P(PhysicalStreamsContract, TheFirstWriteAndTheFirstAfterACloseStartNewContent) {
    const struct {
        std::vector<std::string> steps; ///< written texts; "|" closes, "~" flushes
        std::string expected;
        const char* why;
    } cases[] = {
        {{}, "0123456789", "nothing done"},
        {{"|"}, "0123456789", "a close without a write changes nothing"},
        {{"~", "|"}, "0123456789", "nor does a flush"},
        {{"ab"}, "ab", "unclosed is kept"},
        {{"a", "~", "b"}, "ab", "writes go on"},
        {{"ab", "|", "|"}, "ab", "closing twice"},
        {{"ab", "|", "c"}, "c", "new content after a close"},
        {{"ab", "|", "c", "|"}, "c", "and closed"},
        {{""}, "", "a write of no bytes starts empty content"},
    };
    for (const auto& [steps, expected, why] : cases) {
        interfaces::IPhysicalOutputStream& stream = *openDigits().getOutputStream();
        EXPECT_TRUE(stream.isDone()) << why;
        for (const std::string& step : steps) {
            if (step == "|")
                stream.close();
            else if (step == "~")
                stream.flush();
            else
                write(stream, step);
            EXPECT_TRUE(step == "~" || stream.isDone() == (step == "|")) << why;
        }
        EXPECT_EQ(readPart(package, u"/digits.bin"), expected) << why << ": at once";
        package.close(false);
        package.open(OpenMode::ReadOnly);
        EXPECT_EQ(readPart(package, u"/digits.bin"), expected) << why << ": stored";
        package.close(true);
    }
}

TEST_P(PhysicalStreamsContract, WhatIsWrittenReadsBackWhileItIsWritten) {
    interfaces::IPhysicalPart& part = openDigits();
    write(*part.getOutputStream(), "abc");
    EXPECT_EQ(readAll(*part.getInputStream()), "abc");
    write(*part.getOutputStream(), "def");
    EXPECT_EQ(readAll(*part.getInputStream()), "abcdef");
    interfaces::IPhysicalPart* created = createPart(package, u"/new.bin", "");
    EXPECT_EQ(readAll(*created->getInputStream()), "") << "a new part is empty";
    write(*created->getOutputStream(), "new");
    EXPECT_EQ(readAll(*created->getInputStream()), "new");
}

TEST_P(PhysicalStreamsContract, AReaderSurvivesThatItsPartIsWrittenAnew) {
    for (const bool rewrittenBefore : {false, true}) {
        interfaces::IPhysicalPart& part = openDigits();
        if (rewrittenBefore)
            writeAll(*part.getOutputStream(), "0123456789");
        interfaces::IPhysicalInputStream& stream = *part.getInputStream();
        stream.open();
        EXPECT_EQ(readSome(stream, 4), "0123");
        writeAll(*part.getOutputStream(), "x");
        try {
            EXPECT_EQ(readOn(stream), "456789") << "the old content to its end, never a mixture";
        } catch (const Exception&) {
        }
        EXPECT_EQ(readAll(stream), "x");
        package.close(true);
    }
}

TEST_P(PhysicalStreamsContract, OutputStreamsOfSeveralPartsStandSideBySide) {
    package.open(OpenMode::CreateOnly);
    std::array<interfaces::IPhysicalPart*, 3> parts = {};
    for (std::size_t i = 0; i < parts.size(); ++i)
        parts[i] = createPart(package, u"/" + std::u16string(1, u'a' + i), "");
    for (int round = 0; round < 100; ++round)
        for (std::size_t i = 0; i < parts.size(); ++i)
            write(*parts[i]->getOutputStream(), std::to_string(i * 1000 + round));
    save();
    package.open(OpenMode::ReadOnly);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        std::string expected;
        for (int round = 0; round < 100; ++round)
            expected += std::to_string(i * 1000 + round);
        EXPECT_EQ(readPart(package, u"/" + std::u16string(1, u'a' + i)), expected);
    }
}

} // namespace opc::test
