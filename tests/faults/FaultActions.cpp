// SPDX-License-Identifier: Apache-2.0
#include "FaultActions.hpp"

#include <opc/crypto/CryptoEngine.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include "model/ModelFixture.hpp"
#include "signatures/SigningClock.hpp"
#include "support/FixedKey.hpp"
#include "support/PhysicalAccess.hpp"

#include <algorithm>

namespace opc::model::test {

namespace {

using Types = std::set<std::type_index>;

template <class... Errors>
Types types() {
    return {std::type_index(typeid(Errors))...};
}

Types operator+(Types a, const Types& b) {
    a.insert(b.begin(), b.end());
    return a;
}

const Types opening = types<PackageNotFound, PackageOpenFailed>();
const Types reading = types<InvalidPartStream, Exception>();
const Types writing = types<InvalidPartStream, Exception>();
const Types creating = types<PartCreateFailed>();
const Types deleting = types<PartDeleteFailed>();
const Types flushing = types<InvalidContentTypeStream, InvalidPartStream, Exception, PartDeleteFailed>();
const Types closing = types<PackageCloseFailed, PackagePermissionDenied>();

const PartName document(u"/a/document.xml");
const PartName image(u"/a/image.bin");
const PartName thumbnail(u"/metadata/thumbnail.png");
constexpr char16_t type[] = u"http://example.com/type";

Relationship relate(Package& package, const PartName& source) {
    return package.getPart(source).createInternalRelationship(type, document.getURI());
}

/// One change of everything that a flush writes.
void changeEverything(Package& package) {
    const Part part = create(package, u"/b/new.txt", u"text/plain");
    write(part, "new");
    Part(part).createExternalRelationship(type, u"http://example.com/b");
    relate(package, image);
    package.createInternalRelationship(type, part.getName().getURI());
}

CoreProperties titled(const char16_t* title) {
    CoreProperties properties;
    properties.setTitle(title);
    properties.setKeywords({{u"flower", u"en"}, {u"Blume", u"de"}});
    properties.setCreated(boost::posix_time::ptime(boost::gregorian::date(2026, 1, 31)));
    return properties;
}

void setProperties(Package& package) {
    PackageHelper::createOrUpdateCoreProperties(package, titled(u"new"));
}

void deleteAllProperties(Package& package) {
    PackageHelper::deleteCoreProperties(package);
}

void setThumbnail(Package& package) {
    PackageHelper::deleteRelationshipsAndTargets(package, PackageHelper::getThumbnailRelationshipType());
    write(create(package, u"/metadata/thumbnail.jpeg", u"image/jpeg"), "jpeg");
    package.createInternalRelationship(PackageHelper::getThumbnailRelationshipType(),
                                       PackageHelper::getThumbnailURI(u"jpeg"));
}

/// A part and the relationships that lead to it.
void removeWithRelationships(Package& package, const PartName& name) {
    const auto removeFrom = [&](RelationshipSource& source) {
        for (const Relationship& relationship : source.getRelationships())
            if (relationship.getTargetMode() == TargetMode::Internal && relationship.getTargetURI() == name.getURI())
                source.deleteRelationship(relationship.getID());
    };
    removeFrom(package);
    for (Part& part : package.getParts())
        removeFrom(part);
    package.deletePart(name);
}

/// What a command of the tool does with a package: opened, changed and saved, or left with nothing done.
FaultAction command(const std::string& name, const FaultAction::Call& change, const Types& documented) {
    const auto run = [change](Package& package) {
        package.open(OpenMode::ReadWrite);
        try {
            change(package);
            package.close();
        } catch (...) {
            package.close(true);
            throw;
        }
    };
    return {"Command" + name, true, {}, {}, run, opening + documented + flushing + closing};
}

const SignatureParams params(DigestMethod::SHA256, SignatureMethod::RSA1024);

std::vector<unsigned char> fixedKey() {
    return crypto::CryptoEngine::decodeBase64(opc::test::FIXED_PRIVATE_KEY);
}

void signAll(DigitalSignatureManager& manager) {
    setSigningClock([] { return boost::posix_time::ptime(boost::gregorian::date(2026, 1, 31)); });
    manager.signPackage(fixedKey(), params);
}

/// The same, with the signatures of the package.
FaultAction signing(const std::string& name, const std::function<void(DigitalSignatureManager&)>& change) {
    const auto run = [change](Package& package) {
        DigitalSignatureManager manager(package);
        command("", [&](Package&) { change(manager); }, {}).run(package);
    };
    return {"Command" + name,
            true,
            {},
            {},
            run,
            types<CouldNotGenerateSignature, CouldNotRemoveSignature>() + opening + flushing + closing};
}

FaultAction change(const std::string& name, const FaultAction::Call& run, const Types& documented) {
    return {name, true, OpenMode::ReadWrite, {}, run, documented};
}

FaultAction open(const std::string& name, OpenMode mode) {
    const bool isStored = mode != OpenMode::CreateOnly;
    return {name, isStored, {}, {}, [mode](Package& package) { package.open(mode); }, opening};
}

std::vector<FaultAction> openingActions() {
    return {
        open("OpenReadOnly", OpenMode::ReadOnly),
        open("OpenReadWrite", OpenMode::ReadWrite),
        open("OpenCreateOnly", OpenMode::CreateOnly),
        {"ReadPart", true, OpenMode::ReadOnly, {}, [](Package& p) { read(p.getPart(document)); }, reading},
        {"ReadCoreProperties",
         true,
         OpenMode::ReadOnly,
         {},
         [](Package& p) { PackageHelper::getCoreProperties(p); },
         reading},
        {"ListEverything",
         true,
         OpenMode::ReadOnly,
         {},
         [](Package& p) {
             for (const Part& part : p.getParts(ExcludeMode::ExcludeManaged))
                 for (const Relationship& relationship : part.getRelationships(ExcludeMode::ExcludeManaged))
                     relationship.getTargetURI();
         },
         {}},
    };
}

std::vector<FaultAction> changingActions() {
    FaultAction deletePart = change(
        "DeletePart", [](Package& p) { p.deletePart(document); }, deleting);
    deletePart.again = [](Package& p) {
        if (p.hasPart(document)) // else its relationships part alone is left, which goes with the next flush
            p.deletePart(document);
    };
    FaultAction createPart = change(
        "CreatePart", [](Package& p) { create(p, u"/b/new.txt", u"text/plain"); }, creating);
    createPart.again = [](Package& p) {
        create(p, u"/b/new.txt/below"); // which the name alone, had it stayed behind, would keep from being
        p.deletePart(PartName(u"/b/new.txt/below"));
        create(p, u"/b/new.txt", u"text/plain");
    };
    FaultAction writePart = change(
        "WritePart", [](Package& p) { write(p.getPart(document), "a new document"); }, writing);
    writePart.again = [](Package& p) {
        p.getPart(document).getOutputStream()->close(); // or what comes next would follow what was written
        write(p.getPart(document), "a new document");
    };
    FaultAction deleteProperties = change("DeleteCoreProperties", deleteAllProperties, deleting);
    deleteProperties.stopsHalfWay = true;
    FaultAction createProperties = change("CreateCoreProperties", setProperties, creating + writing);
    createProperties.prepare = deleteAllProperties;
    createProperties.undoes = true;
    FaultAction deleteTargets = change(
        "DeleteRelationshipsAndTargets",
        [](Package& p) {
            Part part = p.getPart(document);
            PackageHelper::deleteRelationshipsAndTargets(p, part, type);
        },
        deleting);
    deleteTargets.stopsHalfWay = true;
    return {
        createPart,
        writePart,
        deletePart,
        change(
            "CreateFirstRelationship", [](Package& p) { relate(p, image); }, creating),
        change("CreateAnotherRelationship",
               [](Package& p) { p.createExternalRelationship(type, u"http://example.com/b"); }, {}),
        change(
            "DeleteRelationship", [](Package& p) { p.deleteRelationship(u"web"); }, deleting),
        change(
            "DeleteLastRelationship", [](Package& p) { p.getPart(thumbnail).deleteRelationship(u"only"); }, deleting),
        change("UpdateCoreProperties", setProperties, writing),
        createProperties,
        deleteProperties,
        deleteTargets,
    };
}

std::vector<FaultAction> savingActions() {
    const FaultAction::Call create = [](Package& p) {
        Part part = test::create(p, u"/a/document.xml");
        test::write(part, "<document/>");
        part.createExternalRelationship(type, u"http://example.com/");
    };
    return {
        {"Flush", true, OpenMode::ReadWrite, changeEverything, [](Package& p) { p.flush(); }, flushing},
        {"Close", true, OpenMode::ReadWrite, changeEverything, [](Package& p) { p.close(); }, flushing + closing},
        {"CloseReadOnly", true, OpenMode::ReadOnly, {}, [](Package& p) { p.close(); }, closing},
        {"CloseCreated", false, OpenMode::CreateOnly, create, [](Package& p) { p.close(); }, flushing + closing},
        {"CloseWithDiscard", true, OpenMode::ReadWrite, changeEverything, [](Package& p) { p.close(true); }, closing},
        {"CreatePropertiesInNewPackage", false, OpenMode::CreateOnly, {}, setProperties, creating + writing},
    };
}

std::vector<FaultAction> commandActions() {
    const auto add = [](Package& package) {
        write(create(package, u"/b/new.txt", u"text/plain"), "new");
        package.createInternalRelationship(type, u"/b/new.txt");
    };
    const FaultAction::Call newPackage = [](Package& package) {
        package.open(OpenMode::CreateOnly);
        try {
            package.close();
        } catch (...) {
            package.close(true);
            throw;
        }
    };
    return {
        {"CommandNew", false, {}, {}, newPackage, opening + flushing + closing},
        command("Add", add, creating + writing),
        command(
            "Rm", [](Package& p) { removeWithRelationships(p, document); }, deleting),
        command(
            "Relate", [](Package& p) { relate(p, image); }, creating),
        command(
            "Unrelate", [](Package& p) { p.getPart(thumbnail).deleteRelationship(u"only"); }, deleting),
        command(
            "Props",
            [](Package& p) {
                CoreProperties properties = PackageHelper::getCoreProperties(p);
                properties.setSubject(u"a subject");
                PackageHelper::createOrUpdateCoreProperties(p, properties);
            },
            reading + writing),
        command("PropsClear", deleteAllProperties, deleting),
        command("ThumbnailSet", setThumbnail, creating + writing + deleting),
        signing("Sign", [](DigitalSignatureManager& m) { signAll(m); }),
        signing("Countersign",
                [](DigitalSignatureManager& m) {
                    signAll(m);
                    m.countersignAllSignatures(fixedKey(), params);
                }),
        signing("Unsign",
                [](DigitalSignatureManager& m) {
                    signAll(m);
                    m.removeAllSignatures();
                }),
    };
}

std::string relationship(const std::string& id, const std::string& typeText, const std::string& rest) {
    return "<Relationship Id=\"" + id + "\" Type=\"" + typeText + "\" " + rest + "/>";
}

} // namespace

void storeSample(interfaces::IPhysicalPackage& package) {
    const std::string metadata = "http://schemas.openxmlformats.org/package/2006/relationships/metadata/";
    const std::string text = "http://example.com/type";
    const std::string core = "http://schemas.openxmlformats.org/package/2006/metadata/core-properties";
    const auto add = [&](const std::u16string& name, const std::u16string& contentType, const std::string& bytes) {
        opc::test::writeAll(*package.createPart(name, contentType, StandardPartInfo())->getOutputStream(), bytes);
    };
    const std::u16string relationships = u"application/vnd.openxmlformats-package.relationships+xml";
    package.open(OpenMode::CreateOnly);
    add(u"/_rels/.rels", relationships,
        relationshipsXml(
            relationship("main", text, "Target=\"a/document.xml\"") +
            relationship("web", text, "Target=\"http://example.com/\" TargetMode=\"External\"") +
            relationship("properties", metadata + "core-properties", "Target=\"metadata/properties.xml\"") +
            relationship("thumbnail", metadata + "thumbnail", "Target=\"metadata/thumbnail.png\"")));
    add(u"/a/document.xml", u"application/xml", "<document/>");
    add(u"/a/_rels/document.xml.rels", relationships,
        relationshipsXml(relationship("image", text, "Target=\"image.bin\"") +
                         relationship("table", text, "Target=\"/a/table.xml\"")));
    add(u"/a/image.bin", u"application/octet-stream", std::string(200, 'i'));
    add(u"/a/table.xml", u"application/xml", "<table/>");
    add(u"/metadata/properties.xml", u"application/vnd.openxmlformats-package.core-properties+xml",
        "<coreProperties xmlns=\"" + core + "\"><revision>7</revision></coreProperties>");
    add(u"/metadata/thumbnail.png", u"image/png", "png");
    add(u"/metadata/_rels/thumbnail.png.rels", relationships,
        relationshipsXml(relationship("only", text, "Target=\"../a/image.bin\"")));
    if (package.hasContentTypeStream())
        opc::test::writeAll(
            *package.getContentTypeOutputStream(),
            contentTypesXml("<Default Extension=\"rels\" "
                            "ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>"
                            "<Default Extension=\"xml\" ContentType=\"application/xml\"/>"
                            "<Default Extension=\"bin\" ContentType=\"application/octet-stream\"/>"
                            "<Override PartName=\"/metadata/properties.xml\" ContentType="
                            "\"application/vnd.openxmlformats-package.core-properties+xml\"/>"
                            "<Override PartName=\"/metadata/thumbnail.png\" ContentType=\"image/png\"/>"));
    package.close(false);
}

std::vector<FaultAction> allFaultActions() {
    std::vector<FaultAction> all;
    for (const auto& actions : {openingActions(), changingActions(), savingActions(), commandActions()})
        all.insert(all.end(), actions.begin(), actions.end());
    return all;
}

} // namespace opc::model::test
