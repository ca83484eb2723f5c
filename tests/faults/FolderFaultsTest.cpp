// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Exception.hpp>
#include <opc/core/interfaces/OpenMode.hpp>
#include <opc/storage/Extraction.hpp>
#include <opc/storage/Packing.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include "AllocationFaults.hpp"
#include "support/PackageXml.hpp"
#include "support/RawZip.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <map>
#include <new>

namespace opc::test {
namespace {

namespace fs = std::filesystem;

struct NoSink final : storage::ExtractionSink {
    void extracted(const storage::ZipItem& /*item*/) override {}
    void leftOut(const storage::ZipItem& /*item*/, const Exception& /*error*/) override {}
};

/// Does something while an allocation fails.
/// @return false when none failed.
template <class Action>
bool failsOrEnds(Extent extent, unsigned long number, Action action) {
    allocationFaults = {true, extent, number};
    try {
        action();
    } catch (const std::bad_alloc&) {
    } catch (const Exception&) {
    }
    allocationFaults.armed = false;
    return allocationFaults.fired;
}

TEST(FolderFaults, LeaveWholeFilesAlone) {
    const std::string types = contentTypes("<Default Extension='xml' ContentType='a/xml'/>");
    const std::string large(300'000, 'x');
    const std::map<std::string, std::string> items{
        {"[Content_Types].xml", types}, {"a.xml", large}, {"b/c/d.xml", "d"}, {"b/e.xml", ""}};
    const TemporaryFolder folder;
    std::vector<RawItem> raw;
    for (const auto& [name, content] : items)
        raw.push_back({name, content});
    writeFile(folder / "zip", makeZip(raw));
    const auto takeApart = [&] {
        storage::ZipPackage package(folder / "zip");
        package.open(interfaces::OpenMode::ReadOnly);
        NoSink sink;
        extract(package, folder / "apart", {}, sink);
    };
    const auto putTogether = [&] { storage::pack(folder / "whole", folder / "packed"); };
    takeApart();
    fs::rename(folder / "apart", folder / "whole");
    putTogether();
    const auto packed = readFile(folder / "packed");

    for (const Extent extent : {Extent::One, Extent::AllFrom}) {
        for (unsigned long number = 1, fired = 1; fired; ++number) {
            fs::remove_all(folder / "apart");
            fired = failsOrEnds(extent, number, takeApart);
            for (const auto& [name, content] : items) {
                const bool exists = fs::exists(folder / ("apart/" + name));
                EXPECT_TRUE(exists || fired) << name;
                EXPECT_TRUE(!exists || toText(readFile(folder / ("apart/" + name))) == content) << name;
            }
        }
        for (unsigned long number = 1, fired = 1; fired; ++number) {
            fs::remove(folder / "packed");
            fired = failsOrEnds(extent, number, putTogether);
            const bool exists = fs::exists(folder / "packed");
            EXPECT_TRUE(exists || fired);
            EXPECT_TRUE(!exists || readFile(folder / "packed") == packed);
        }
        fs::remove_all(folder / "apart");
        EXPECT_EQ(folder.names(), (std::set<std::string>{"packed", "whole", "zip"}));
    }
}

} // namespace
} // namespace opc::test
