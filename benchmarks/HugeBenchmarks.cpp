// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks.hpp"
#include "Comparison.hpp"
#include "HugeContent.hpp"
#include "ManyParts.hpp"
#include "Process.hpp"
#include "SigningTasks.hpp"
#include "Workspace.hpp"
#include "Zip.hpp"

#include <opc/core/InputStream.hpp>
#include <opc/core/OutputStream.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/Part.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <array>
#include <chrono>
#include <functional>
#include <iostream>
#include <list>
#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace opc::benchmarks {

namespace {

namespace fs = std::filesystem;
using interfaces::CompressionType;
using interfaces::OpenMode;

constexpr std::uint64_t gibibyte = 1ULL << 30;
constexpr std::uint64_t mebibyte = 1ULL << 20;
constexpr std::uint64_t otherParts = 64; ///< they make up the package in which one small part is changed
constexpr const char16_t* partName = u"/huge.bin";
constexpr const char* itemName = "huge.bin";
constexpr const char16_t* smallPartName = u"/small.bin";

Item contentTypesItem() {
    constexpr std::string_view text = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n"
                                      "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
                                      "<Default Extension=\"bin\" ContentType=\"application/octet-stream\"/></Types>";
    return {"[Content_Types].xml", {text.begin(), text.end()}};
}

struct OpenPackage {
    OpenPackage(const fs::path& file, OpenMode mode) : zip(file), model(zip) { model.open(mode); }

    storage::ZipPackage zip;
    model::Package model;
};

// ---- one huge part out

void writeHuge(const fs::path& file, HugeContent::Kind kind, CompressionType compression) {
    const HugeContent content(kind, gibibyte);
    OpenPackage package(file, OpenMode::CreateOnly);
    model::Part part =
        package.model.createPart(partName, u"application/octet-stream", model::StandardPartInfo(compression, gibibyte));
    OutputStream& stream = *part.getOutputStream();
    content.forEachPiece([&](const unsigned char* data, std::uint64_t size) { stream.write(data, size); });
    stream.close();
    package.model.close();
}

void writeHugeItem(const fs::path& file, HugeContent::Kind kind, zip_int32_t method) {
    const Item types = contentTypesItem();
    HugeContent content(kind, gibibyte);
    const fs::path temporary = file.string() + ".new";
    Zip zip = openZip(temporary, ZIP_CREATE | ZIP_TRUNCATE);
    addItem(zip.get(), types);
    addItem(zip.get(), itemName, content.makeSource(zip.get()), method);
    closeZip(std::move(zip));
    replaceDurably(temporary, file);
}

// ---- one huge part in

using Buffer = std::array<unsigned char, 64 * 1024>;

void throwIfNotHuge(std::uint64_t size) {
    if (size != gibibyte)
        throw std::runtime_error("read " + std::to_string(size) + " bytes instead of 1 GiB");
}

void readHuge(const fs::path& file) {
    const OpenPackage package(file, OpenMode::ReadOnly);
    const model::Part part = package.model.getPart(partName);
    InputStream& stream = *part.getInputStream();
    stream.open();
    Buffer buffer;
    std::uint64_t size = 0;
    while (const unsigned long count = stream.read(buffer.data(), buffer.size()))
        size += count;
    throwIfNotHuge(size);
}

void readHugeItem(const fs::path& file) {
    const Zip zip = openZip(file, ZIP_RDONLY);
    const std::unique_ptr<zip_file_t, int (*)(zip_file_t*)> item(zip_fopen(zip.get(), itemName, 0), zip_fclose);
    if (!item)
        throw std::runtime_error("there is no huge item");
    Buffer buffer;
    std::uint64_t size = 0;
    for (zip_int64_t count = 1; count > 0; size += static_cast<std::uint64_t>(count))
        count = std::max<zip_int64_t>(0, zip_fread(item.get(), buffer.data(), buffer.size()));
    throwIfNotHuge(size);
}

// ---- many parts

/// Name, type and size of each.
void listParts(const fs::path& file) {
    const OpenPackage package(file, OpenMode::ReadOnly);
    std::vector<std::pair<std::u16string, std::u16string>> parts;
    for (const model::Part& part : package.model.getParts())
        parts.emplace_back(part.getName().toString(), part.getContentType().toString());
    std::map<std::u16string, std::uint64_t> sizes;
    for (const storage::ZipItem& item : package.zip.getItems())
        sizes.emplace(item.partName, item.size);
    if (parts.size() != 10'000 || sizes.size() < parts.size())
        throw std::runtime_error("there are not 10,000 parts");
}

// ---- one small change

void changeSmallPart(const fs::path& file) {
    OpenPackage package(file, OpenMode::ReadWrite);
    const model::Part part = package.model.getPart(smallPartName);
    OutputStream& stream = *part.getOutputStream();
    constexpr std::array<unsigned char, 1000> bytes{};
    stream.write(bytes.data(), bytes.size());
    stream.close();
    package.model.close();
}

void copyFile(const fs::path& file) {
    const fs::path copy = file.string() + ".copy";
    const fs::path temporary = file.string() + ".new";
    fs::copy_file(file, temporary, fs::copy_options::overwrite_existing);
    replaceDurably(temporary, copy);
}

// ---- files, tasks and measurements

/// 1 GiB in 64 stored parts, and a small one in their middle.
void makeHugePackage(const fs::path& file) {
    std::list<HugeContent> contents; // until the file is closed
    const Item types = contentTypesItem();
    const Item small{"small.bin", std::vector<unsigned char>(1000)};
    Zip zip = openZip(file, ZIP_CREATE | ZIP_TRUNCATE);
    addItem(zip.get(), types);
    for (std::uint64_t number = 0; number < otherParts; ++number) {
        HugeContent& content = contents.emplace_back(HugeContent::Kind::Noise, gibibyte / otherParts);
        addItem(zip.get(), "other" + std::to_string(number) + ".bin", content.makeSource(zip.get()), ZIP_CM_STORE);
        if (number == otherParts / 2)
            addItem(zip.get(), small);
    }
    closeZip(std::move(zip));
}

std::string made(const std::string& name, const std::function<void(const fs::path&)>& make) {
    const fs::path file = workFile(name);
    if (!fs::exists(file))
        make(file);
    return file.string();
}

std::string textFile() {
    return made(
        "text.zip", [](const fs::path& file) { writeHugeItem(file, HugeContent::Kind::Text, ZIP_CM_DEFLATE); });
}

std::string noiseFile() {
    return made(
        "noise.zip", [](const fs::path& file) { writeHugeItem(file, HugeContent::Kind::Noise, ZIP_CM_STORE); });
}

std::string hugePackage() {
    return made("huge.zip", makeHugePackage);
}

const std::map<std::string, Task>& tasks() {
    static const std::map<std::string, Task> all = {
        {"write-text", [](const fs::path& file) { writeHuge(file, HugeContent::Kind::Text, CompressionType::Normal); }},
        {"write-text-item", [](const fs::path& file) { writeHugeItem(file, HugeContent::Kind::Text, ZIP_CM_DEFLATE); }},
        {"write-noise", [](const fs::path& file) { writeHuge(file, HugeContent::Kind::Noise, CompressionType::None); }},
        {"write-noise-item", [](const fs::path& file) { writeHugeItem(file, HugeContent::Kind::Noise, ZIP_CM_STORE); }},
        {"read", readHuge},
        {"list", listParts},
        {"read-item", readHugeItem},
        {"change", changeSmallPart},
        {"copy", copyFile},
    };
    return all;
}

SideMaker writing(const std::string& task) {
    return [task] { return hugeTask(task, workFile("written.zip").string()); };
}

SideMaker reading(const std::string& task, std::string (*file)()) {
    return [task, file] { return hugeTask(task, file()); };
}

} // namespace

int runHugeTask(const std::string& task, const std::string& file) {
    std::map<std::string, Task> all = tasks();
    all.merge(signingTasks());
    const auto start = std::chrono::steady_clock::now();
    all.at(task)(file);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    std::cout << taken.count() << ' ' << peakOfThisProcess() << '\n';
    return 0;
}

void registerHugeParts() {
    constexpr double aim = 1.1;
    constexpr double storedAim = 1.5; // the content is kept before it is written
    constexpr double changeAim = 1.3;
    constexpr double peakAim = 64.0 * mebibyte;
    registerComparison({"change one part of a 1 GiB package", "copying the file", 7, changeAim, peakAim},
                       reading("change", hugePackage), reading("copy", hugePackage));
    registerComparison({"1 GiB part out, deflated", "libzip writing the same item", 3, aim, peakAim, false},
                       writing("write-text"), writing("write-text-item"));
    registerComparison({"1 GiB part out, stored", "libzip writing the same item", 5, storedAim, peakAim},
                       writing("write-noise"), writing("write-noise-item"));
    registerComparison({"1 GiB part in, deflated", "libzip reading the same item", 5, aim, peakAim},
                       reading("read", textFile), reading("read-item", textFile));
    registerComparison({"1 GiB part in, stored", "libzip reading the same item", 5, aim, peakAim},
                       reading("read", noiseFile), reading("read-item", noiseFile));
}

void registerPython() {
    const auto python = [](const std::string& task, std::string (*file)()) {
        return [task, file] { return pythonTask(task, file()); };
    };
    const auto tenThousand = [] { return manyParts(10'000).string(); };
    registerComparison({"list 10,000 parts in Python", "in C++", 21, 3}, python("list", tenThousand),
                       reading("list", tenThousand));
    registerComparison({"1 GiB part in, deflated, in Python", "in C++", 5, 1.2, 64.0 * mebibyte},
                       python("read", textFile), reading("read", textFile));
    registerComparison({"1 GiB part in, stored, in Python", "in C++", 5, 1.2, 64.0 * mebibyte},
                       python("read", noiseFile), reading("read", noiseFile));
}

} // namespace opc::benchmarks
