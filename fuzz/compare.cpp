// SPDX-License-Identifier: Apache-2.0
// Two documents, compared as a part of two packages, and printed. The input is one after the other, with a zero
// between.
#include <opc/compare/Compare.hpp>
#include <opc/compare/PackageText.hpp>
#include <opc/compare/PrettyXml.hpp>
#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/storage/memory/MemoryPackage.hpp>
#include <opc/xml/XercesHelper.hpp>

#include "Fuzz.hpp"
#include "compare/XmlIdentity.hpp"
#include "xml/CanonicalXml.hpp"
#include "xml/PlainXml.hpp"

namespace {

using opc::fuzz::Bytes;
using opc::model::Package;
using opc::storage::MemoryPackage;

std::optional<std::vector<unsigned char>> identify(const Bytes& document) {
    opc::ByteArrayInAdaptor stream(document);
    std::string problem;
    return opc::compare::identifyXml(stream, {}, {}, problem);
}

/// By the other parser; nothing for what it refuses.
std::optional<std::string> canonicalForm(const Bytes& document) {
    std::optional<std::string> form;
    opc::fuzz::accepted([&] {
        const auto parser = opc::model::XercesHelper::createParser();
        opc::ByteArrayInAdaptor stream(document);
        const auto* read = opc::model::XercesHelper::readDocumentFromStream(*parser, stream, false, u"", u"");
        if (opc::model::isPlainXml(document, *read))
            form = opc::model::canonicalizeDocument(*read, opc::model::CanonicalComments::Omit);
    });
    return form;
}

std::string_view localName(std::string_view name) {
    return name.substr(name.find(':') + 1); // npos + 1 is the start
}

/// A canonical form without what prefixes add to its tags.
std::string withoutPrefixes(std::string_view form) {
    const auto take = [&form](std::size_t size) {
        const std::string_view taken = form.substr(0, size);
        form.remove_prefix(taken.size());
        return taken;
    };
    std::string text;
    while (text += take(form.find('<')), !form.empty()) {
        if (form.starts_with("<?")) {
            text += take(form.find("?>") + 2);
            continue;
        }
        text += take(form.starts_with("</") ? 2 : 1);
        text += localName(take(form.find_first_of(" >")));
        while (form.starts_with(' ')) {
            const std::string_view name = take(form.find('=')).substr(1);
            const std::string_view value = take(form.find('"', 2) + 1);
            if (!name.starts_with("xmlns"))
                ((text += ' ') += localName(name)) += value;
        }
    }
    return text;
}

void store(MemoryPackage& physical, const Bytes& document) {
    Package package(physical);
    package.open(opc::interfaces::OpenMode::CreateOnly);
    const auto part = package.createPart(u"/a.xml", u"application/xml", opc::model::StandardPartInfo());
    part.getOutputStream()->write(document.data(), document.size());
    part.getOutputStream()->close();
    package.close();
}

opc::compare::DifferenceReport compare(const Package& a, const Package& b) {
    opc::compare::ComparedPackage before;
    opc::compare::ComparedPackage after;
    before.package = &a;
    after.package = &b;
    return opc::compare::compare(before, after);
}

/// A package is equal to itself, and to one with the same part.
void comparePackages(const Bytes& a, const Bytes& b, bool areAlike) {
    MemoryPackage physicalA;
    MemoryPackage physicalB;
    store(physicalA, a);
    store(physicalB, b);
    Package before(physicalA);
    Package after(physicalB);
    before.open(opc::interfaces::OpenMode::ReadOnly);
    after.open(opc::interfaces::OpenMode::ReadOnly);
    OPCRAFT_REQUIRE(compare(before, before).isEqual());
    OPCRAFT_REQUIRE(compare(before, after).isEqual() == areAlike);
    OPCRAFT_REQUIRE(compare(after, before).isEqual() == areAlike);
    opc::compare::ComparedPackage text;
    text.package = &before;
    opc::compare::writeText(text, [](std::string_view) {});
}

/// @return nothing for what is refused.
std::optional<std::string> printed(const Bytes& document) {
    std::string text;
    opc::ByteArrayInAdaptor stream(document);
    const auto write = [&text](std::string_view line) { (text += line) += '\n'; };
    return opc::fuzz::accepted([&] { opc::compare::printPretty(stream, write); }) ? std::optional(text) : std::nullopt;
}

const auto target = opc::fuzz::targets().emplace("compare", [](const Bytes& input) {
    const auto middle = std::find(input.begin(), input.end(), 0);
    const Bytes a(input.begin(), middle);
    const Bytes b(middle == input.end() ? middle : middle + 1, input.end());
    const auto identityOfA = identify(a);
    const auto identityOfB = identify(b);
    const auto formOfA = canonicalForm(a);
    const auto formOfB = canonicalForm(b);
    if (identityOfA && identityOfB && formOfA && formOfB) {
        OPCRAFT_REQUIRE(formOfA != formOfB || identityOfA == identityOfB);
        OPCRAFT_REQUIRE(identityOfA != identityOfB || withoutPrefixes(*formOfA) == withoutPrefixes(*formOfB));
    }
    comparePackages(a, b, a == b || (identityOfA && identityOfA == identityOfB));
    const auto lines = printed(a);
    OPCRAFT_REQUIRE(lines.has_value() == identityOfA.has_value());
    OPCRAFT_REQUIRE(!lines || printed({lines->begin(), lines->end()}) == lines);
});

} // namespace
