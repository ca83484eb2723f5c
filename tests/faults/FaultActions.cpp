// SPDX-License-Identifier: Apache-2.0
#include "FaultActions.hpp"

#include <opc/crypto/CryptoEngine.hpp>
#include <opc/edit/MovePart.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include "model/ModelFixture.hpp"
#include "signatures/SigningClock.hpp"
#include "support/FixedKey.hpp"

namespace opc::model::test {

namespace {

using Types = std::set<std::type_index>;

Types operator+(Types a, const Types& b) {
    a.insert(b.begin(), b.end());
    return a;
}

const Types opening = {typeid(PackageNotFound), typeid(PackageOpenFailed)};
const Types reading = {typeid(InvalidPartStream), typeid(Exception)};
const Types writing = {typeid(InvalidPartStream), typeid(Exception)};
const Types creating = {typeid(PartCreateFailed)};
const Types deleting = {typeid(PartDeleteFailed)};
const Types flushing = {typeid(InvalidContentTypeStream), typeid(InvalidPartStream), typeid(Exception),
                        typeid(PartDeleteFailed)};
const Types closing = {typeid(PackageCloseFailed), typeid(PackagePermissionDenied)};

const PartName document(u"/a/document.xml");
const PartName image(u"/a/image.bin");
const PartName thumbnail(u"/metadata/thumbnail.png");
constexpr char16_t type[] = u"http://example.com/type";

void relate(Package& package, const PartName& source, const PartName& target, const char16_t* id = u"") {
    package.getPart(source).createInternalRelationship(type, target.getURI(), id);
}

/// One change of everything that a flush writes.
void changeEverything(Package& package) {
    const Part part = create(package, u"/b/new.txt", u"text/plain");
    write(part, "new");
    Part(part).createExternalRelationship(type, u"http://example.com/b");
    relate(package, image, document);
    package.createInternalRelationship(type, part.getName().getURI());
}

void setProperties(Package& package) {
    CoreProperties properties;
    properties.setTitle(u"new");
    properties.setKeywords({{u"flower", u"en"}, {u"Blume", u"de"}});
    properties.setCreated(boost::posix_time::ptime(boost::gregorian::date(2026, 1, 31)));
    PackageHelper::createOrUpdateCoreProperties(package, properties);
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

FaultAction open(const std::string& name, OpenMode mode) {
    return {name, {}, [mode](Package& package) { package.open(mode); }, opening, mode != OpenMode::CreateOnly};
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
    return {"Command" + name, {}, run, opening + documented + flushing + closing};
}

/// The same of a command that signs and then changes the signatures of the package.
FaultAction signing(const std::string& name, const std::function<void(DigitalSignatureManager&)>& change) {
    const auto run = [change](Package& package) {
        DigitalSignatureManager manager(package);
        const auto sign = [&](Package&) {
            setSigningClock([] { return boost::posix_time::ptime(boost::gregorian::date(2026, 1, 31)); });
            manager.signPackage(crypto::CryptoEngine::decodeBase64(opc::test::FIXED_PRIVATE_KEY),
                                {DigestMethod::SHA256, SignatureMethod::RSA1024});
            change(manager);
        };
        command("", sign, {}).run(package);
    };
    const Types documented = {typeid(CouldNotGenerateSignature), typeid(CouldNotRemoveSignature)};
    return {"Command" + name, {}, run, opening + documented + flushing + closing};
}

std::vector<FaultAction> readingActions() {
    const auto listEverything = [](Package& p) {
        for (const Part& part : p.getParts(ExcludeMode::ExcludeManaged))
            for (const Relationship& relationship : part.getRelationships(ExcludeMode::ExcludeManaged))
                relationship.getTargetURI();
    };
    return {
        open("OpenReadOnly", OpenMode::ReadOnly),
        open("OpenReadWrite", OpenMode::ReadWrite),
        open("OpenCreateOnly", OpenMode::CreateOnly),
        {"ReadPart", OpenMode::ReadOnly, [](Package& p) { read(p.getPart(document)); }, reading},
        {"ReadProperties", OpenMode::ReadOnly, [](Package& p) { PackageHelper::getCoreProperties(p); }, reading},
        {"ListEverything", OpenMode::ReadOnly, listEverything, {}},
    };
}

FaultAction change(const std::string& name, const FaultAction::Call& run, const Types& documented,
                   const FaultAction::Call& again = {}) {
    return {.name = name, .mode = OpenMode::ReadWrite, .run = run, .documented = documented, .again = again};
}

std::vector<FaultAction> changingActions() {
    const auto createNew = [](Package& p) { create(p, u"/b/new.txt", u"text/plain"); };
    const auto createAgain = [createNew](Package& p) {
        create(p, u"/b/new.txt/below"); // which the name alone, had it stayed behind, would keep from being
        p.deletePart(PartName(u"/b/new.txt/below"));
        createNew(p);
    };
    const auto writeAnew = [](Package& p) { write(p.getPart(document), "a new document"); };
    const auto writeAgain = [writeAnew](Package& p) {
        p.getPart(document).getOutputStream()->close(); // or what comes next would follow what was written
        writeAnew(p);
    };
    const auto remove = [](Package& p) { p.deletePart(document); };
    const auto removeAgain = [](Package& p) {
        if (p.hasPart(document)) // else its relationships part alone is left, which goes with the next flush
            p.deletePart(document);
    };
    FaultAction createProperties = change("CreateProperties", setProperties, creating + writing);
    createProperties.prepare = deleteAllProperties;
    createProperties.undoes = true;
    FaultAction deleteProperties = change("DeleteProperties", deleteAllProperties, deleting);
    deleteProperties.stopsHalfWay = true;
    const auto deleteAll = [](Package& p) {
        Part part = p.getPart(document);
        PackageHelper::deleteRelationshipsAndTargets(p, part, type);
    };
    FaultAction deleteTargets = change("DeleteRelationshipsAndTargets", deleteAll, deleting);
    deleteTargets.stopsHalfWay = true;
    return {change("CreatePart", createNew, creating, createAgain),
            change("WritePart", writeAnew, writing, writeAgain),
            change("DeletePart", remove, deleting, removeAgain),
            createProperties,
            deleteProperties,
            deleteTargets,
            change("UpdateProperties", setProperties, writing)};
}

std::vector<FaultAction> relatingActions() {
    const auto relateFirst = [](Package& p) { relate(p, image, document); };
    const auto relateMore = [](Package& p) { p.createExternalRelationship(type, u"http://example.com/b"); };
    const auto unrelate = [](Package& p) { p.deleteRelationship(u"web"); };
    const auto unrelateLast = [](Package& p) { p.getPart(thumbnail).deleteRelationship(u"only"); };
    return {change("CreateFirstRelationship", relateFirst, creating),
            change("CreateAnotherRelationship", relateMore, {}), change("DeleteRelationship", unrelate, deleting),
            change("DeleteLastRelationship", unrelateLast, deleting)};
}

std::vector<FaultAction> savingActions() {
    const FaultAction::Call createAll = [](Package& p) {
        write(create(p, u"/a/document.xml"), "<document/>");
        p.getPart(document).createExternalRelationship(type, u"http://example.com/");
    };
    const FaultAction::Call close = [](Package& p) { p.close(); };
    const FaultAction::Call discard = [](Package& p) { p.close(true); };
    return {
        {"Flush", OpenMode::ReadWrite, [](Package& p) { p.flush(); }, flushing, true, changeEverything},
        {"Close", OpenMode::ReadWrite, close, flushing + closing, true, changeEverything},
        {"CloseReadOnly", OpenMode::ReadOnly, close, closing},
        {"CloseCreated", OpenMode::CreateOnly, close, flushing + closing, false, createAll},
        {"CloseWithDiscard", OpenMode::ReadWrite, discard, closing, true, changeEverything},
        {"PropertiesOfNewPackage", OpenMode::CreateOnly, setProperties, creating + writing, false},
    };
}

std::vector<FaultAction> commandActions() {
    const auto changeAll = [](Package& p) {
        changeEverything(p);
        setThumbnail(p);
        setProperties(p);
        p.deletePart(document);
    };
    return {
        command("ChangeAll", changeAll, creating + writing + deleting),
        command("DeleteProperties", deleteAllProperties, deleting),
        command(
            "Move", [](Package& p) { edit::movePart(p, document, PartName(u"/b/moved.xml")); }, creating),
        command(
            "MoveByCase", [](Package& p) { edit::movePart(p, document, PartName(u"/A/document.xml")); }, creating),
        command(
            "Retype", [](Package& p) { p.changeContentType(image, ContentType(u"image/tiff")); }, creating),
        signing("Sign", [](DigitalSignatureManager&) {}),
        signing("Countersign",
                [](DigitalSignatureManager& m) {
                    m.countersignAllSignatures(crypto::CryptoEngine::decodeBase64(opc::test::FIXED_PRIVATE_KEY),
                                               {DigestMethod::SHA256, SignatureMethod::RSA1024});
                }),
        signing("Unsign", [](DigitalSignatureManager& m) { m.removeAllSignatures(); }),
    };
}

} // namespace

void storeSample(interfaces::IPhysicalPackage& physicalPackage) {
    Package package(physicalPackage);
    package.open(OpenMode::CreateOnly);
    write(create(package, document.toString()), "<document/>");
    write(create(package, image.toString(), u"application/octet-stream"), std::string(200, 'i'));
    write(create(package, u"/a/table.xml"), "<table/>");
    write(create(package, thumbnail.toString(), u"image/png"), "png");
    package.createInternalRelationship(type, document.getURI(), u"main");
    package.createExternalRelationship(type, u"http://example.com/", u"web");
    package.createInternalRelationship(PackageHelper::getThumbnailRelationshipType(), thumbnail.getURI(), u"thumbnail");
    relate(package, document, image, u"image");
    relate(package, document, PartName(u"/a/table.xml"), u"table");
    relate(package, thumbnail, image, u"only");
    CoreProperties properties;
    properties.setRevision(u"7");
    PackageHelper::createOrUpdateCoreProperties(package, properties);
    package.close();
}

std::vector<FaultAction> allFaultActions() {
    std::vector<FaultAction> all;
    for (const auto& actions :
         {readingActions(), changingActions(), relatingActions(), savingActions(), commandActions()})
        all.insert(all.end(), actions.begin(), actions.end());
    return all;
}

} // namespace opc::model::test
