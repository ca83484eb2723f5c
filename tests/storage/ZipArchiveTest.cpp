// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ZipArchive.hpp"
#include "storage/zip/ZipWriter.hpp"

#include "storage/Zips.hpp"

namespace opc::test {
namespace {

/// Counts down to the one operation that fails.
struct Countdown {
    int left;
    void step() {
        if (--left == 0)
            throw Exception("the disk is broken", make_error_code(Errc::io_error));
    }
};

class BrittleBytes final : public PackageBytes {
public:
    BrittleBytes(const test::Bytes& bytes, Countdown& countdown) : bytes_(bytes), countdown_(countdown) {}
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

struct BrittleTarget final : Target {
    explicit BrittleTarget(Countdown& steps) : countdown(steps) {}
    void write(const unsigned char*, std::size_t) override { countdown.step(); }
    void commit() override {}
    Countdown& countdown;
};

/// Performs an action with a failure at its first operation, its second, and so on, until it succeeds.
template <class Action>
void failEverywhere(Action action) {
    for (int k = 1;; ++k) {
        Countdown countdown{k};
        try {
            action(countdown);
            EXPECT_GT(k, 10) << "no failure at all";
            return;
        } catch (const Exception& e) {
            EXPECT_STREQ(e.what(), "the disk is broken") << "at operation " << k;
            EXPECT_EQ(e.code(), make_error_condition(Errc::io_error));
        }
    }
}

TEST(ZipArchive, AFailureUnderneathArrivesAsItWasThrown) {
    const std::string text = someText(300000, 1, 256); // no buffer holds it all
    const auto bytes = makeZip({{"a.xml", text}, {"b.xml", text, 0}});
    failEverywhere([&](Countdown& countdown) {
        const ZipArchive archive(std::make_unique<BrittleBytes>(bytes, countdown), "book");
        for (std::uint64_t i = 0; i < archive.count(); ++i)
            readRest(*archive.read(i, "item"), 5000);
    });
    ZipChanges changes;
    const auto content = std::make_shared<Content>();
    append(*content, text);
    changes.replaced.push_back({0, content, "a"});
    changes.added.push_back({"c.xml", content, interfaces::CompressionType::None, "c"});
    failEverywhere([&](Countdown& countdown) {
        const ZipArchive original(std::make_unique<BrittleBytes>(bytes, countdown), "book");
        BrittleTarget target(countdown);
        writeZip(&original, changes, target);
    });
}

} // namespace
} // namespace opc::test
