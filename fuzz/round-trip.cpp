// SPDX-License-Identifier: Apache-2.0
// A session with a package: every byte of the input picks a call or one of its arguments. After a call that is
// refused, and after the package was saved and opened again, it holds what it held before.
#include <opc/errors/Errors.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/storage/zip/ZipPackage.hpp>
#include <opc/xml/XercesGuard.hpp>

#include "Fuzz.hpp"
#include "support/PackageContent.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>

namespace {

using namespace opc::model;
using opc::detail::toUTF8String;
using opc::fuzz::accepted;
using opc::interfaces::OpenMode;
using opc::test::PackageContent;
using Texts = std::vector<std::u16string>;

// A text is one of these, or what the input spells out.
const Texts names = {u"/a.xml",      u"/A.XML",     u"/a.xml/b.xml",      u"/word/document.xml", u"/word/b.bin",
                     u"/[0].piece",  u"/b%20c.xml", u"/_rels/a.xml.rels", u"/noextension",       u"/docProps/core.xml",
                     u"/a.rels.xml", u"/a.rels"};
const Texts types = {u"application/xml", u"a/b", u"A/B", u"text/plain;charset=utf-8",
                     u"application/vnd.openxmlformats-package.relationships+xml"};
const Texts ids = {u"", u"rId1", u"rId2", u"a", u"_1"};
const Texts relationshipTypes = {
    u"urn:t", u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties", u"http://h/t"};
const Texts targets = {u"a.xml",     u"/word/document.xml", u"../a.xml",    u"#f",
                       u"b.xml?q#f", u"http://h/a b",       u"c:\\d\\e.txt"};

class Session {
public:
    explicit Session(const opc::fuzz::Bytes& input) : input_(input) {}

    void run() {
        package_.open(OpenMode::CreateOnly);
        package_.close();
        package_.open(OpenMode::ReadWrite);
        for (int calls = 0; calls < 40 && !input_.empty(); ++calls)
            call();
        reopen(false, OpenMode::ReadOnly);
        OPCRAFT_REQUIRE(!accepted([&] { createPart(); }));
        package_.close();
    }

private:
    PackageContent current() const { return opc::test::contentOf(package_); }
    std::u16string pick(const Texts& choices) {
        const unsigned choice = input_.number();
        return choice < 0xE0 ? choices[choice % choices.size()] : input_.text();
    }
    Part anyPart() {
        const auto parts = package_.getParts();
        if (parts.empty())
            throw PartNotFound("none to choose");
        return parts[input_.number() % parts.size()];
    }

    void call() {
        using Call = void (Session::*)();
        static const Call calls[] = {
            &Session::createPart,     &Session::createPart,        &Session::writePart,
            &Session::writePart,      &Session::deletePart,        &Session::createInternal,
            &Session::createInternal, &Session::createExternal,    &Session::deleteRelationship,
            &Session::setProperties,  &Session::deleteWithTargets, &Session::save,
            &Session::save,           &Session::discard,           &Session::flush};
        const Call chosen = calls[input_.number() % std::size(calls)];
        const PackageContent before = current();
        // Deleting relationships with their targets may stop half-way.
        if (!accepted([&] { (this->*chosen)(); }) && chosen != &Session::deleteWithTargets)
            OPCRAFT_REQUIRE(current() == before);
        for (const Part& handle : handles_)
            OPCRAFT_REQUIRE(accepted([&] { handle.getRelationships(); }) == handle.isValid());
    }

    void createPart() {
        const PartName name(pick(names));
        const ContentType type(pick(types));
        PackageContent expected = current();
        const auto compression = static_cast<opc::interfaces::CompressionType>(input_.number() % 5);
        handles_.push_back(package_.createPart(name, type, StandardPartInfo(compression, input_.number() * 1000)));
        expected[toUTF8String(name.toString())] = toUTF8String(type.toString()) + ": ";
        OPCRAFT_REQUIRE(current() == expected);
    }

    void writePart() {
        const Part part = anyPart();
        PackageContent expected = current();
        opc::OutputStream& stream = *part.getOutputStream();
        std::string content;
        for (unsigned pieces = input_.number() % 4; pieces > 0; --pieces) {
            const std::string piece(input_.number() * std::size_t(input_.number()), static_cast<char>(input_.number()));
            opc::fuzz::write(stream, piece);
            content += piece;
        }
        if (!stream.isDone())
            expected[toUTF8String(part.getName().toString())] =
                toUTF8String(part.getContentType().toString()) + ": " + content;
        stream.close();
        OPCRAFT_REQUIRE(current() == expected);
    }

    void deletePart() {
        const PartName name = input_.number() % 2 == 0 ? anyPart().getName() : PartName(pick(names));
        const Part part = package_.getPart(name);
        PackageContent expected = current();
        const std::string stored = toUTF8String(part.getName().toString());
        package_.deletePart(name);
        OPCRAFT_REQUIRE(!part.isValid() && !package_.hasPart(name));
        std::erase_if(expected, [&](const auto& entry) {
            return entry.first == stored || entry.first.starts_with(stored + " has ");
        });
        OPCRAFT_REQUIRE(current() == expected);
    }

    /// The package or one of its parts.
    RelationshipSource& anySource() {
        if (input_.number() % 3 == 0)
            return package_;
        return part_.emplace(anyPart());
    }

    void createInternal() { relate(false); }
    void createExternal() { relate(true); }
    void relate(bool external) {
        RelationshipSource& source = anySource();
        const std::u16string type = pick(relationshipTypes);
        const std::u16string target = pick(targets);
        const Relationship made = external ? source.createExternalRelationship(type, target, pick(ids))
                                           : source.createInternalRelationship(type, URI(target), pick(ids));
        OPCRAFT_REQUIRE(!external || made.getTarget() == target);
        OPCRAFT_REQUIRE(source.getRelationshipByID(made.getID()) == made);
    }

    void deleteRelationship() {
        RelationshipSource& source = anySource();
        const auto all = source.getRelationships();
        const std::u16string id = all.empty() ? pick(ids) : all[input_.number() % all.size()].getID();
        source.deleteRelationship(id);
        OPCRAFT_REQUIRE(!source.hasRelationship(id));
    }

    void setProperties() {
        CoreProperties properties;
        const unsigned which = input_.number();
        if (which & 1)
            properties.setTitle(input_.text());
        if (which & 2)
            properties.setCreator(input_.text());
        if (which & 4)
            properties.setKeywords({{input_.text(), u""}, {input_.text(), input_.text()}});
        if (which & 8)
            properties.setModified(boost::posix_time::ptime(boost::gregorian::date(2000, 1, 1)) +
                                   boost::posix_time::microseconds(input_.number() * 1'000'003));
        if (which & 16)
            properties.setIdentifier(u"");
        PackageHelper::createOrUpdateCoreProperties(package_, properties);
    }

    void deleteWithTargets() { PackageHelper::deleteRelationshipsAndTargets(package_, pick(relationshipTypes)); }

    void flush() {
        const PackageContent before = current();
        package_.flush();
        OPCRAFT_REQUIRE(current() == before);
    }

    void save() { reopen(false, OpenMode::ReadWrite); }
    void discard() { reopen(true, OpenMode::ReadWrite); }
    void reopen(bool discard, OpenMode mode) {
        const PackageContent expected = discard ? saved_ : current();
        const auto bytes = bytes_;
        package_.close(discard);
        OPCRAFT_REQUIRE(!discard || bytes_ == bytes);
        package_.open(mode);
        saved_ = current();
        OPCRAFT_REQUIRE(saved_ == expected);
    }

    opc::fuzz::Input input_;
    std::vector<unsigned char> bytes_;
    opc::storage::ZipPackage zip_{bytes_};
    Package package_{zip_};
    std::optional<Part> part_;
    std::vector<Part> handles_;
    PackageContent saved_;
};

const auto target = opc::fuzz::targets().emplace("round-trip", [](const opc::fuzz::Bytes& input) {
    static const XercesGuard guard;
    Session(input).run();
});

} // namespace
