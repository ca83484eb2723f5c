// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/PhysicalAccess.hpp"
#include "support/RawZip.hpp"
#include "support/Table.hpp"
#include "support/TemporaryFolder.hpp"

#include "storage/Content.hpp"

#include <opc/core/Findings.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <gmock/gmock.h>

#include <functional>

/// What the tests of ZIP packages share.
namespace opc::test {

using namespace storage;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

inline const std::string TYPES = contentTypes("<Default Extension='xml' ContentType='a/xml'/>"
                                              "<Default Extension='rels' ContentType='a/rels'/>");

inline Bytes zipWith(std::vector<RawItem> items, const std::string& types = TYPES, const std::string& comment = {}) {
    items.insert(items.begin(), {"[Content_Types].xml", types});
    return makeZip(items, comment);
}

/// With empty items of these names.
inline Bytes zipOfNames(const std::vector<std::string>& names, const std::string& types = TYPES) {
    std::vector<RawItem> items;
    for (const std::string& name : names)
        items.push_back({name});
    return zipWith(std::move(items), types);
}

/// A package in memory that is open, for reading and writing or, where there are no bytes, for creating.
struct Zip {
    explicit Zip(Bytes file = {}, ZipOptions options = {})
        : bytes(std::move(file)), package(bytes, std::move(options)) {
        package.open(bytes.empty() ? OpenMode::CreateOnly : OpenMode::ReadWrite);
    }
    ZipPackage* operator->() { return &package; }
    std::string read(const std::u16string& part) { return readPart(package, part); }
    void write(const std::u16string& part, const std::string& text) { writePart(package, part, text); }
    std::vector<std::string> parts() { return partNames(package); }

    /// Saves and opens again. @return the names of the items that are in the file.
    std::vector<std::string> save() {
        package.close(false);
        package.open(OpenMode::ReadWrite);
        return RawZipReader(bytes).names();
    }

    Bytes bytes;
    ZipPackage package;
};

/// What is said when a file is opened; "opens" when it is.
inline std::string openingSays(Bytes file, ZipOptions options = {}, Errc code = Errc::bad_message) {
    ZipPackage package(file, std::move(options));
    try {
        package.open(OpenMode::ReadOnly);
    } catch (const Exception& e) {
        EXPECT_EQ(e.code(), make_error_condition(code)) << e.what();
        return e.what();
    }
    return "opens";
}

/// A line for each finding: its rule, "blocks" where it does, the severity, the item and the message.
struct Findings final : FindingSink {
    void found(const Finding& finding) override {
        const Rule& rule = getRule(finding.rule);
        const char* const severities[] = {" error ", " warning ", " note "};
        text += rule.name + std::string(finding.blocks ? " blocks" : "") +
                severities[static_cast<std::size_t>(rule.severity)] + finding.place.item + ": " + finding.message +
                '\n';
    }
    std::string text{};
};

/// What a tolerant open and the search for ambiguities tell.
inline std::string findingsIn(Bytes file) {
    ZipPackage package(file);
    Findings findings;
    try {
        package.openTolerantly(OpenMode::ReadOnly, findings);
    } catch (const Exception& e) {
        return std::string("refused, blocks: ") + e.what();
    }
    package.findAmbiguities(findings, true);
    return findings.text;
}

inline void append(Content& content, const std::string& text) {
    content.append(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

inline std::string readSome(ItemReader& reader, std::size_t size) {
    std::string bytes(size, '\0');
    bytes.resize(reader.read(reinterpret_cast<unsigned char*>(bytes.data()), size));
    return bytes;
}

inline std::string readRest(ItemReader& reader, std::size_t piece = 70000) {
    std::string bytes;
    for (std::string next = readSome(reader, piece); !next.empty(); next = readSome(reader, piece))
        bytes += next;
    return bytes;
}

} // namespace opc::test
