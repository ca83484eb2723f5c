// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ZipArchive.hpp"
#include "storage/zip/ZipWriter.hpp"

#include "support/PhysicalAccess.hpp"
#include "support/RawZip.hpp"

#include <gtest/gtest.h>

namespace opc::storage {

using namespace opc::test;

namespace {

/// Counts down to the one operation that fails.
class Countdown {
public:
    explicit Countdown(int operations) : left_(operations) {}
    void step() {
        if (--left_ == 0)
            throw Exception("the disk is broken", make_error_code(Errc::io_error));
    }

private:
    int left_;
};

class BrittleBytes final : public PackageBytes {
public:
    BrittleBytes(const std::vector<unsigned char>& bytes, Countdown& countdown)
        : bytes_(bytes), countdown_(countdown) {}
    std::uint64_t size() const override { return bytes_.size(); }
    std::size_t readAt(std::uint64_t offset, unsigned char* buffer, std::size_t size) const override {
        countdown_.step();
        return bytes_.readAt(offset, buffer, size);
    }
    void throwIfChanged() const override {}

private:
    VectorBytes bytes_;
    Countdown& countdown_;
};

class BrittleTarget final : public Target {
public:
    explicit BrittleTarget(Countdown& countdown) : countdown_(countdown) {}
    void write(const unsigned char*, std::size_t) override { countdown_.step(); }
    void commit() override {}

private:
    Countdown& countdown_;
};

/// Performs an action with a failure at its first operation, its second, and so on, until it succeeds.
/// @return how often it failed.
template <class Action>
int failEverywhere(Action action) {
    for (int k = 1;; ++k) {
        Countdown countdown(k);
        try {
            action(countdown);
            return k - 1;
        } catch (const Exception& e) {
            EXPECT_STREQ(e.what(), "the disk is broken") << "at operation " << k;
            EXPECT_EQ(e.code(), make_error_condition(Errc::io_error));
        }
    }
}

/// Long enough that no buffer holds it all.
std::string longText() {
    std::string text;
    for (unsigned i = 0, random = 1; i < 300000; ++i, random = random * 1103515245 + 12345)
        text += static_cast<char>(random >> 16);
    return text;
}

} // namespace

TEST(ZipArchive, AFailureUnderneathArrivesAsItWasThrown) {
    const auto bytes = makeZip({{"a.xml", longText()}, {"b.xml", longText(), 0}});
    const int readFailures = failEverywhere([&](Countdown& countdown) {
        ZipArchive archive(std::make_unique<BrittleBytes>(bytes, countdown), "book");
        for (std::uint64_t i = 0; i < archive.count(); ++i) {
            const auto reader = archive.read(i, "item");
            std::vector<unsigned char> buffer(5000);
            while (reader->read(buffer.data(), buffer.size()) > 0) {
            }
        }
    });
    EXPECT_GT(readFailures, 10);

    ZipChanges changes;
    const auto content = std::make_shared<Content>();
    content->append(reinterpret_cast<const unsigned char*>(longText().data()), longText().size());
    changes.replaced.push_back({0, content, "a"});
    changes.added.push_back({"c.xml", content, interfaces::CompressionType::None, "c"});
    const int saveFailures = failEverywhere([&](Countdown& countdown) {
        const ZipArchive original(std::make_unique<BrittleBytes>(bytes, countdown), "book");
        BrittleTarget target(countdown);
        writeZip(&original, changes, target);
    });
    EXPECT_GT(saveFailures, 10);
}

} // namespace opc::storage
