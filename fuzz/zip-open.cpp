// SPDX-License-Identifier: Apache-2.0
// Any bytes opened as a ZIP package: read, changed and saved. The input is the file.
#include <opc/core/PartNames.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/storage/zip/ZipPackage.hpp>
#include <opc/xml/XercesGuard.hpp>

#include "Dump.hpp"
#include "Fuzz.hpp"
#include "model/ContentTypeSource.hpp"

#include <optional>
#include <set>

namespace {

using opc::fuzz::accepted;
using opc::fuzz::Contents;
using opc::fuzz::Dump;
using opc::interfaces::OpenMode;
using opc::model::Package;
using opc::model::PartName;
using opc::storage::ZipPackage;
using Bytes = std::vector<unsigned char>;

const std::u16string unknownExtension = u"fuzzed-extension";
constexpr std::size_t mostRead = 4 * 1024 * 1024;

/// Every item of the file, read through the store alone. What is consistent is open to all.
void readItems(Bytes bytes) {
    opc::storage::ZipOptions options;
    options.consistent = true;
    ZipPackage consistentZip(bytes, options);
    const bool consistent = accepted([&] { consistentZip.open(OpenMode::ReadOnly); });
    ZipPackage zip(bytes);
    if (!accepted([&] { zip.open(OpenMode::ReadOnly); })) {
        OPCRAFT_REQUIRE(!consistent);
        return;
    }
    Bytes buffer(64 * 1024);
    std::size_t left = mostRead;
    for (const opc::storage::ZipItem& item : zip.getItems()) {
        accepted([&] {
            auto* stream = zip.getItemInputStream(item.name);
            stream->open();
            for (unsigned long count = 1; count != 0 && left > 0; left -= std::min<std::size_t>(left, count))
                count = stream->read(buffer.data(), buffer.size());
            stream->close();
        });
    }
    zip.close(false);
}

/// The store and the model each read the content types stream in a way of their own: what is no part for the one has no
/// content type for the other. Nor are the relationships of a part kept from it.
void checkOtherItems(ZipPackage& zip, const Package& package) {
    opc::model::ContentTypeSource types(zip, false);
    std::set<PartName> names;
    for (const std::string& item : zip.getOtherItems()) {
        accepted([&] {
            const PartName name(opc::toString("/" + item));
            if (!name.getURI().hasQuery() &&
                !name.getURI().hasFragment()) // in a file, "?" and "#" are part of the name
                names.insert(name);
        });
    }
    for (const PartName& name : names)
        OPCRAFT_REQUIRE(name.isRelationshipName() || !accepted([&] { types.getContentType(name, false); }));
    for (const opc::model::Part& part : package.getParts())
        OPCRAFT_REQUIRE(names.count(part.getName().getRelationshipPartName()) == 0);
}

/// @return nothing when it is no package.
std::optional<Dump> readPackage(Bytes& bytes) {
    ZipPackage zip(bytes);
    Package package(zip);
    if (!accepted([&] { package.open(OpenMode::ReadOnly); })) {
        OPCRAFT_REQUIRE(!package.isOpen());
        return std::nullopt;
    }
    const Dump found = dump(package, Contents::Read);
    checkOtherItems(zip, package);
    accepted([&] { opc::model::PackageHelper::getCoreProperties(package); });
    package.close();
    return found;
}

void checkThatNothingIsWrittenWithoutChanges(Bytes bytes) {
    const Bytes before = bytes;
    ZipPackage zip(bytes);
    Package package(zip);
    package.open(OpenMode::ReadWrite);
    package.close();
    OPCRAFT_REQUIRE(bytes == before);
}

/// The extension of an item that is no part, if there is one: a new part brings its content type for all of them.
std::u16string extensionToAdd(Bytes& bytes) {
    ZipPackage zip(bytes);
    zip.open(OpenMode::ReadOnly);
    std::u16string extension = unknownExtension;
    for (const std::string& item : zip.getOtherItems()) {
        const std::u16string found = opc::detail::getExtension(opc::toString(item, false));
        if (!found.empty() && found != u"rels" && opc::detail::isPartName(u"/a." + found))
            extension = found;
    }
    zip.close(false);
    return extension;
}

/// Adds a part. @return false when the package or the store refuses; then the file is as it was.
bool addPart(Bytes& bytes, const std::u16string& name, const std::string& content) {
    const Bytes before = bytes;
    ZipPackage zip(bytes);
    Package package(zip);
    package.open(OpenMode::ReadWrite);
    const bool done = accepted([&] {
        auto part = package.createPart(name, u"application/x-fuzz", opc::model::StandardPartInfo());
        auto* stream = part.getOutputStream();
        stream->write(reinterpret_cast<const unsigned char*>(content.data()), content.size());
        stream->close();
        package.close();
    });
    if (!done)
        package.close(true);
    OPCRAFT_REQUIRE(done || bytes == before);
    return done;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const opc::model::XercesGuard guard;
    Bytes bytes(data, data + size);
    readItems(bytes);
    std::optional<Dump> expected = readPackage(bytes);
    if (!expected)
        return 0;
    checkThatNothingIsWrittenWithoutChanges(bytes);
    const std::u16string extension = extensionToAdd(bytes);
    const std::u16string name = u"/fuzz/added." + extension;
    const std::string content(10, 'x');
    if (!addPart(bytes, name, content))
        return 0;
    expected->parts[name] = {u"application/x-fuzz", content};
    std::optional<Dump> found = readPackage(bytes);
    OPCRAFT_REQUIRE(found.has_value());
    // Items that were no parts may have become some.
    if (extension != unknownExtension)
        std::erase_if(found->parts, [&](const auto& part) { return expected->parts.count(part.first) == 0; });
    OPCRAFT_REQUIRE(found->parts == expected->parts);
    OPCRAFT_REQUIRE(extension != unknownExtension || found->relationships == expected->relationships);
    return 0;
}
