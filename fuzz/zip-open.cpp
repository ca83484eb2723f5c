// SPDX-License-Identifier: Apache-2.0
// Any bytes opened as a ZIP package: read, changed and saved. The input is the file.
#include <opc/core/PartNames.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/storage/zip/ZipPackage.hpp>
#include <opc/xml/XercesGuard.hpp>

#include "Fuzz.hpp"
#include "model/ContentTypeSource.hpp"
#include "support/PackageContent.hpp"

#include <set>

namespace {

using namespace opc::model;
using opc::fuzz::accepted;
using opc::fuzz::Bytes;
using opc::interfaces::OpenMode;
using opc::storage::ZipPackage;
using opc::test::PackageContent;

/// Every item of the file, read through the store alone. What is consistent is open to all.
void readItems(Bytes bytes) {
    opc::storage::ZipOptions options;
    options.consistent = true;
    ZipPackage consistentZip(bytes, options);
    const bool consistent = accepted([&] { consistentZip.open(OpenMode::ReadOnly); });
    ZipPackage zip(bytes);
    const bool open = accepted([&] { zip.open(OpenMode::ReadOnly); });
    OPCRAFT_REQUIRE(open || !consistent);
    Bytes buffer(64 * 1024);
    int blocksLeft = 64;
    for (const opc::storage::ZipItem& item : open ? zip.getItems() : std::vector<opc::storage::ZipItem>()) {
        accepted([&] {
            auto* stream = zip.getItemInputStream(item.name);
            stream->open();
            while (blocksLeft > 0 && stream->read(buffer.data(), buffer.size()) != 0)
                --blocksLeft;
            stream->close();
        });
    }
}

/// The store and the model each read the content types stream in a way of their own: what is not a part for the one has
/// no content type for the other. Nor are the relationships of a part kept from it.
void checkOtherItems(ZipPackage& zip, const Package& package) {
    opc::model::ContentTypeSource types(zip, false);
    std::set<PartName> names;
    for (const std::string& item : zip.getOtherItems())
        if (item.find_first_of("?#") == std::string::npos) // which are part of the name in a file
            accepted([&] { names.emplace(opc::toString("/" + item)); });
    for (const PartName& name : names)
        OPCRAFT_REQUIRE(name.isRelationshipName() || !accepted([&] { types.getContentType(name, false); }));
    for (const Part& part : package.getParts())
        OPCRAFT_REQUIRE(names.count(part.getName().getRelationshipPartName()) == 0);
}

/// @return nothing when it is not a package. It is read, and saved without a change.
std::optional<PackageContent> readPackage(Bytes& bytes) {
    const Bytes before = bytes;
    ZipPackage zip(bytes);
    Package package(zip);
    if (!accepted([&] { package.open(OpenMode::ReadWrite); })) {
        OPCRAFT_REQUIRE(!package.isOpen());
        return std::nullopt;
    }
    const PackageContent content = opc::test::contentOf(package);
    checkOtherItems(zip, package);
    accepted([&] { PackageHelper::getCoreProperties(package); });
    package.close();
    OPCRAFT_REQUIRE(bytes == before);
    return content;
}

/// Adds a part, which brings its content type for all items of its extension: that of an item that is not a part, if
/// there is one. @return its name; empty when the package or the store refuses, and the file is as it was.
std::string addPart(Bytes& bytes) {
    const Bytes before = bytes;
    ZipPackage zip(bytes);
    Package package(zip);
    package.open(OpenMode::ReadWrite);
    std::u16string extension = u"unknown-extension";
    for (const std::string& item : zip.getOtherItems()) {
        const std::u16string found = opc::detail::getExtension(opc::toString(item, false));
        if (!found.empty() && found != u"rels" && opc::detail::isPartName(u"/a." + found))
            extension = found;
    }
    const std::u16string name = u"/fuzz/added." + extension;
    const bool done = accepted([&] {
        auto* stream = package.createPart(name, u"application/x-fuzz", StandardPartInfo()).getOutputStream();
        opc::fuzz::write(*stream, "content");
        stream->close();
        package.close();
    });
    OPCRAFT_REQUIRE(done || bytes == before);
    return done ? opc::toASCIIString(name) : "";
}

const auto target = opc::fuzz::targets().emplace("zip-open", [](const Bytes& file) {
    static const XercesGuard guard;
    Bytes bytes = file;
    readItems(bytes);
    std::optional<PackageContent> expected = readPackage(bytes);
    const std::string name = expected ? addPart(bytes) : "";
    if (name.empty())
        return;
    (*expected)[name] = "application/x-fuzz: content";
    std::optional<PackageContent> found = readPackage(bytes);
    OPCRAFT_REQUIRE(found.has_value());
    if (!name.ends_with(".unknown-extension")) // items that were no parts may have become some
        std::erase_if(*found, [&](const auto& entry) { return expected->count(entry.first) == 0; });
    OPCRAFT_REQUIRE(found == expected);
});

} // namespace
