// SPDX-License-Identifier: Apache-2.0
// A session with a package: every byte of the input picks a call or one of its arguments. After a call that is
// refused, and after the package was saved and opened again, it holds what it held before.
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/storage/zip/ZipPackage.hpp>
#include <opc/xml/XercesGuard.hpp>

#include "Dump.hpp"
#include "Fuzz.hpp"

#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>

namespace {

using namespace opc::model;
using opc::fuzz::accepted;
using opc::fuzz::Contents;
using opc::fuzz::Dump;
using opc::interfaces::OpenMode;

// A text is one of these, or what the input spells out.
const char16_t* const names[] = {
    u"/a.xml",      u"/A.XML",     u"/a.xml/b.xml",      u"/word/document.xml", u"/word/b.bin",
    u"/[0].piece",  u"/b%20c.xml", u"/_rels/a.xml.rels", u"/noextension",       u"/docProps/core.xml",
    u"/a.rels.xml", u"/a.rels"};
const char16_t* const types[] = {u"application/xml", u"a/b", u"A/B", u"text/plain;charset=utf-8",
                                 u"application/vnd.openxmlformats-package.relationships+xml"};
const char16_t* const ids[] = {u"", u"rId1", u"rId2", u"a", u"_1"};
const char16_t* const relationshipTypes[] = {
    u"urn:t", u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties", u"http://h/t"};
const char16_t* const targets[] = {u"a.xml",     u"/word/document.xml", u"../a.xml",    u"#f",
                                   u"b.xml?q#f", u"http://h/a b",       u"c:\\d\\e.txt"};

template <std::size_t size>
std::u16string pick(opc::fuzz::Input& input, const char16_t* const (&choices)[size]) {
    const unsigned choice = input.number();
    return choice < 0xE0 ? choices[choice % size] : input.text();
}

class Session {
public:
    Session(const std::uint8_t* data, std::size_t size) : input_(data, size) {}

    void run() {
        package_.open(OpenMode::CreateOnly);
        for (int calls = 0; calls < mostCalls && !input_.empty(); ++calls)
            call();
        reopen(false, OpenMode::ReadOnly);
        OPCRAFT_REQUIRE(!accepted([&] { createPart(); }));
        package_.close();
    }

private:
    static constexpr int mostCalls = 40;

    Dump current() const { return dump(package_, package_.isCreateOnly() ? Contents::LeaveOut : Contents::Read); }

    void call() {
        static void (Session::*const calls[])() = {&Session::createPart,
                                                   &Session::createPart,
                                                   &Session::writePart,
                                                   &Session::writePart,
                                                   &Session::deletePart,
                                                   &Session::createInternal,
                                                   &Session::createInternal,
                                                   &Session::createExternal,
                                                   &Session::deleteRelationship,
                                                   &Session::setProperties,
                                                   &Session::deleteProperties,
                                                   &Session::deleteWithTargets,
                                                   &Session::save,
                                                   &Session::save,
                                                   &Session::discard,
                                                   &Session::flush,
                                                   &Session::keepHandle};
        const unsigned choice = input_.number() % std::size(calls);
        const Dump before = current();
        const bool changedAll = accepted([&] { (this->*calls[choice])(); });
        // Deleting relationships with their targets may stop half-way.
        const bool mayStop =
            calls[choice] == &Session::deleteWithTargets || calls[choice] == &Session::deleteProperties;
        if (!changedAll && !mayStop)
            OPCRAFT_REQUIRE(current() == before);
    }

    Part anyPart() {
        const auto parts = package_.getParts();
        if (parts.empty())
            throw PartNotFound("none to choose");
        return parts[input_.number() % parts.size()];
    }

    /// The package, or one of its parts.
    template <class Action>
    void withSource(Action action) {
        if (input_.number() % 3 == 0) {
            action(static_cast<RelationshipSource&>(package_));
        } else {
            Part part = anyPart();
            action(static_cast<RelationshipSource&>(part));
        }
    }

    void createPart() {
        const PartName name(pick(input_, names));
        const ContentType type(pick(input_, types));
        const StandardPartInfo info(static_cast<opc::interfaces::CompressionType>(input_.number() % 5),
                                    input_.number() * 1000);
        const Dump before = current();
        const Part part = package_.createPart(name, type, info);
        OPCRAFT_REQUIRE(part.isValid() && part.getContentType().toString() == type.toString());
        Dump expected = before;
        std::optional<std::string> content;
        if (!package_.isCreateOnly())
            content.emplace();
        expected.parts[name.toString()] = {type.toString(), content};
        OPCRAFT_REQUIRE(current() == expected);
    }

    void writePart() {
        const Part part = anyPart();
        Dump expected = current();
        auto* stream = part.getOutputStream();
        std::string content;
        for (unsigned pieces = input_.number() % 4; pieces > 0; --pieces) {
            const std::string piece(input_.number() * std::size_t(input_.number()), static_cast<char>(input_.number()));
            stream->write(reinterpret_cast<const unsigned char*>(piece.data()), piece.size());
            content += piece;
        }
        const bool written = !stream->isDone();
        stream->close();
        if (written && !package_.isCreateOnly())
            expected.parts[part.getName().toString()].content = content;
        if (written)
            written_[part.getName().toString()] = content;
        OPCRAFT_REQUIRE(current() == expected);
    }

    void deletePart() {
        const PartName name = input_.number() % 2 == 0 ? anyPart().getName() : PartName(pick(input_, names));
        const Part part = package_.getPart(name);
        Dump expected = current();
        const std::u16string stored = part.getName().toString();
        package_.deletePart(name);
        OPCRAFT_REQUIRE(!part.isValid() && !package_.hasPart(name));
        expected.parts.erase(stored);
        std::erase_if(expected.relationships, [&](const auto& entry) { return std::get<0>(entry.first) == stored; });
        written_.erase(stored);
        OPCRAFT_REQUIRE(current() == expected);
    }

    void createInternal() {
        withSource([&](RelationshipSource& source) {
            const std::u16string type = pick(input_, relationshipTypes);
            const URI target(pick(input_, targets));
            expectRelationship(source, source.createInternalRelationship(type, target, pick(input_, ids)));
        });
    }

    void createExternal() {
        withSource([&](RelationshipSource& source) {
            const std::u16string type = pick(input_, relationshipTypes);
            const std::u16string target = pick(input_, targets);
            const Relationship made = source.createExternalRelationship(type, target, pick(input_, ids));
            OPCRAFT_REQUIRE(made.getTarget() == target);
            expectRelationship(source, made);
        });
    }

    static void expectRelationship(const RelationshipSource& source, const Relationship& made) {
        OPCRAFT_REQUIRE(source.getRelationshipByID(made.getID()) == made);
        OPCRAFT_REQUIRE(RelationshipSource::isValidID(made.getID()));
    }

    void deleteRelationship() {
        withSource([&](RelationshipSource& source) {
            const auto all = source.getRelationships();
            const std::u16string id = all.empty() ? pick(input_, ids) : all[input_.number() % all.size()].getID();
            source.deleteRelationship(id);
            OPCRAFT_REQUIRE(!source.hasRelationship(id));
        });
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
        written_.clear(); // the part that has them may be any
        if (package_.isCreateOnly())
            return;
        const CoreProperties read = PackageHelper::getCoreProperties(package_);
        OPCRAFT_REQUIRE(read.getTitle().has_value() == properties.getTitle().has_value());
        OPCRAFT_REQUIRE(read.getCreator().has_value() == properties.getCreator().has_value());
        OPCRAFT_REQUIRE(read.getModified() == properties.getModified());
        OPCRAFT_REQUIRE(read.getIdentifier() == properties.getIdentifier());
    }

    void deleteProperties() { PackageHelper::deleteCoreProperties(package_); }

    void deleteWithTargets() {
        PackageHelper::deleteRelationshipsAndTargets(package_, pick(input_, relationshipTypes));
    }

    void flush() {
        const Dump before = current();
        package_.flush();
        OPCRAFT_REQUIRE(current() == before);
    }

    void save() { reopen(false, OpenMode::ReadWrite); }
    /// What was never saved cannot be opened again.
    void discard() {
        if (!bytes_.empty())
            reopen(true, OpenMode::ReadWrite);
    }

    void reopen(bool discard, OpenMode mode) {
        const Dump expected = discard ? saved_ : current();
        const bool withContents = discard || !package_.isCreateOnly();
        const auto bytes = bytes_;
        package_.close(discard);
        OPCRAFT_REQUIRE(!discard || bytes_ == bytes);
        package_.open(mode);
        saved_ = current();
        if (!withContents)
            checkWrittenContents();
        OPCRAFT_REQUIRE(dump(package_, withContents ? Contents::Read : Contents::LeaveOut) == expected);
        written_.clear();
    }

    /// A created package cannot be read before it is opened again.
    void checkWrittenContents() const {
        for (const auto& [name, content] : written_)
            OPCRAFT_REQUIRE(saved_.parts.at(name).content == content);
    }

    void keepHandle() {
        if (input_.number() % 2 == 0)
            handles_.push_back(anyPart());
        for (const Part& handle : handles_) {
            OPCRAFT_REQUIRE(!handle.getName().toString().empty());
            OPCRAFT_REQUIRE(accepted([&] { handle.getRelationships(); }) == handle.isValid());
        }
    }

    opc::fuzz::Input input_;
    std::vector<unsigned char> bytes_;
    opc::storage::ZipPackage zip_{bytes_};
    Package package_{zip_};
    std::vector<Part> handles_;
    std::map<std::u16string, std::string> written_; // since the package was opened
    Dump saved_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const XercesGuard guard;
    Session(data, size).run();
    return 0;
}
