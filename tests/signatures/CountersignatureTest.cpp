// SPDX-License-Identifier: Apache-2.0
#include "signatures/KeyRing.hpp"
#include "signatures/Tampering.hpp"
#include "support/FailingPackage.hpp"

namespace opc::model::test {

namespace {

using Names = std::vector<std::u16string>;

const std::u16string TYPE = u"http://schemas.openxmlformats.org/package/2006/relationships/digitalsignature/";
const std::u16string COUNTERSIGNATURE = u"sigcountersig";
const PartName ORIGIN(u"/_xmlsignatures/origin.sigs"), FIRST(u"/_xmlsignatures/sig1.xml");

DigitalSignature sign(DigitalSignatureManager& manager) {
    return manager.signPackage(fixedKey(), params1024);
}

DigitalSignature countersign(DigitalSignatureManager& manager) {
    return manager.countersignAllSignatures(fixedKey(), params1024);
}

/// The letter as the library writes it.
Bytes plainLetter() {
    return changed(letter().toZip(), [](Opened& opened) {
        opened.package.createInternalRelationship(u"urn:x", DOCUMENT.getURI(), u"x");
        opened.package.deleteRelationship(u"x");
        opened.package.createPart(PartName(u"/x"), ContentType(u"a/b"), opc::test::PartInfo());
        opened.package.deletePart(PartName(u"/x"));
    });
}

/// Two signatures, of all and of a part, under a countersignature.
Bytes countersignedLetter() {
    return changed(plainLetter(), [](Opened& opened) {
        sign(opened.manager);
        opened.manager.sign({DOCUMENT}, {}, fixedKey(), params1024);
        countersign(opened.manager);
    });
}

/// The names of the signatures, those that do not hold with a "!".
Names verdicts(const DigitalSignatureManager& manager) {
    Names names;
    for (const DigitalSignature& each : manager.getSignatures())
        names.push_back((manager.verifySignature(each, noOptions(), TrustStore()).isValid() ? u"" : u"!") +
                        each.getName());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(Countersignature, HoldsInEveryFormAndCoversTheSignatures) {
    KeyRing ring;
    ring.issue("leaf");
    const TrustStore trust = ring.trust("root");
    const X509Certificate leaf = ring.certificate("leaf");
    using Manager = DigitalSignatureManager;
    const Bytes key = fixedKey(), publicKey = publicKeyOf(key);
    const auto options = allOptions();
    const std::function<void(Manager&)> forms[] = {
        countersign,
        [&](Manager& manager) { manager.countersignAllSignatures(key, publicKey, params1024); },
        [&](Manager& manager) { manager.countersignAllSignatures(key, leaf, {}, options, params1024, trust); },
        [&](Manager& manager) {
            manager.countersignAllSignatures(ring.bundleOf("leaf", "leaf"), options, params1024, trust);
        },
    };
    for (const auto& form : forms) {
        Bytes zip = changed(signedLetter(), [&](Opened& opened) { form(opened.manager); });
        const Opened opened(zip, OpenMode::ReadOnly);
        const DigitalSignature found = opened.manager.getCountersignature();
        EXPECT_TRUE(opened.manager.isPackageCountersigned());
        EXPECT_TRUE(opened.manager.verifyAllSignatures(options, trust).isValid());
        EXPECT_EQ(found.getName(), COUNTERSIGNATURE);
        EXPECT_EQ(found.getImpl()->partName, u"/_xmlsignatures/sigcountersig.xml");
        EXPECT_EQ(found.getSignedPartNames(), std::vector<PartName>{FIRST});
        const auto relationships = found.getSignedRelationships();
        ASSERT_EQ(relationships.size(), 2U);
        EXPECT_EQ(relationships[0].getType(), TYPE + u"origin");
        EXPECT_EQ(relationships[1].getID(), u"DSRel1") << "its own is left out";
        EXPECT_TRUE(opened.package.getPart(ORIGIN).hasRelationship(u"DSRelcountersig"));
    }
}

TEST(Countersignature, IsBrokenByWhatItCovers) {
    const std::string root = "_rels/.rels", origin = "_xmlsignatures/_rels/origin.sigs.rels", end = "</Relationships>";
    const std::string document = "word/_rels/document.xml.rels";
    const std::string signature = toASCIIString(TYPE) + "signature", originType = toASCIIString(TYPE) + "origin";
    const auto add = [&](const std::string& item, const std::string& id, const std::string& type,
                         const std::string& target) { return insert(item, end, relationship(id, type, target)); };
    const Bytes zip = countersignedLetter();
    const Bytes byType = changed(letter().toZip(), [](Opened& opened) {
        sign(opened.manager);
        const URI source = DOCUMENT.getURI(), styles(u"/word/styles.xml");
        opened.package.getPart(ORIGIN).createInternalRelationship(u"urn:link", styles);
        opened.package.getPart(DOCUMENT).createInternalRelationship(TYPE + u"signature", styles);
        opened.manager.sign({}, {{ORIGIN.getURI(), BY_TYPE, u"urn:link"}, {source, BY_TYPE, TYPE + u"signature"}},
                            fixedKey(), params1024);
        opened.manager.removeSignature(u"sig1");
        countersign(opened.manager);
    });
    const std::string itself = "/_xmlsignatures/sigcountersig.xml", own = "DSRelcountersig";
    const std::vector<Tampering> rows = {
        {"a signature in another spelling", edit(PART, "?>", "?> "), "invalid"},
        {"another origin", add(root, "x", originType, "word/document.xml"), "invalid"},
        {"its own relationship by another ID", edit(origin, own, "DSRel3"), "invalid"},
        {"a signature by another ID", edit(origin, "DSRel2", "DSRel7"), "invalid"},
        {"a signature by its own ID", both(edit(origin, own, "x"), edit(origin, "DSRel1", own)), "invalid"},
    };
    expectVerdicts(zip, rows);
    const std::vector<Tampering> byTypeRows = {
        {"another relationship by its own ID", add(document, own, signature, "/evil.xml"), "invalid"},
        {"another way to it by its own ID", add(document, own, signature, itself), "invalid"},
        {"its own relationship with another type",
         edit(origin, "sig.xml\" Type=\"" + signature, "sig.xml\" Type=\"urn:link"), "invalid"},
        {"another origin in front, which has no signatures", add(root, own, originType, itself), "unsigned"},
    };
    expectVerdicts(byType, byTypeRows);
    Items named(zip); // another one by its name, in front of it
    named["_xmlsignatures/countersig.xml"] = named[PART];
    named.replace("[Content_Types].xml", "/_xmlsignatures/sig1.xml", "/_xmlsignatures/countersig.xml");
    add(origin, "A", signature, "countersig.xml")(named);
    changed(named.toZip(), [](Opened& opened) {
        EXPECT_EQ(verdicts(opened.manager), (Names{u"!sigcountersig", u"!sigcountersig", u"sig1", u"sig2"}));
        EXPECT_EQ(opened.manager.getCountersignature().getImpl()->partName, u"/_xmlsignatures/sigcountersig.xml");
    });
    changed(zip, [](Opened& opened) {
        sign(opened.manager);
        EXPECT_EQ(verdicts(opened.manager), (Names{u"!sigcountersig", u"sig1", u"sig2", u"sig3"}));
        opened.manager.removeCountersignature();
        countersign(opened.manager);
        EXPECT_EQ(verdicts(opened.manager), (Names{u"sig1", u"sig2", u"sig3", COUNTERSIGNATURE}));
    });
}

TEST(Countersignature, HasTheNameThatItWasSignedFor) {
    const std::string name = "the name of the signature is ", target = "that of the countersignature, but its signed ";
    const struct {
        Bytes zip;
        std::string from, to, problem;
    } rows[] = {
        {signedLetter(), "sig1", "sigcountersig", name + target + "Target is #Signature1"},
        {signedLetter(), "sig1", "SIGCounterSig", name + target + "Target is #Signature1"},
        {signedLetter(), "sig1", "sig2", ""},
        {countersignedLetter(), "sigcountersig", "sig3", name + "not " + target + "Target is #Signaturecountersig"},
    };
    for (const auto& row : rows) {
        Items items(row.zip);
        items["_xmlsignatures/" + row.to + ".xml"] = items["_xmlsignatures/" + row.from + ".xml"];
        items.erase("_xmlsignatures/" + row.from + ".xml");
        items.replace("[Content_Types].xml", row.from, row.to);
        items.replace("_xmlsignatures/_rels/origin.sigs.rels", row.from + ".xml", row.to + ".xml");
        Bytes zip = items.toZip();
        const Opened opened(zip, OpenMode::ReadOnly);
        std::string found;
        for (const SignatureReport& report : opened.manager.examineAllSignatures(noOptions(), TrustStore()))
            if (const ReferenceReport* problem = report.findFirstProblem())
                found += problem->problem;
        EXPECT_EQ(found, row.problem) << row.to;
    }
}

TEST(Removal, LeavesNoTraceInWhateverOrder) {
    const Bytes zip = countersignedLetter();
    const auto before = Items(plainLetter()).byName();
    Names order{u"sig1", u"sig2", COUNTERSIGNATURE};
    do {
        const Bytes after = changed(zip, [&](Opened& opened) {
            for (auto next = order.begin(); next != order.end();) {
                opened.manager.removeSignature(*next);
                Names left(++next, order.end());
                for (std::u16string& each : left)
                    each = (each == COUNTERSIGNATURE ? u"!" : u"") + each; // it covers the one that is gone
                std::sort(left.begin(), left.end());
                EXPECT_EQ(verdicts(opened.manager), left);
            }
            EXPECT_FALSE(opened.manager.isPackageSigned() || opened.package.hasPart(ORIGIN));
        });
        EXPECT_EQ(Items(after).byName(), before);
    } while (std::next_permutation(order.begin(), order.end()));
    EXPECT_EQ(Items(changed(zip, [](Opened& opened) { opened.manager.removeAllSignatures(); })).byName(), before);
    EXPECT_EQ(verdictOn(changed(zip, [](Opened& opened) { opened.manager.removeSignature(u"sig1"); })),
              "refused: Part referenced to by the signature is not present in the package.");
    EXPECT_EQ(verdictOn(changed(zip,
                                [](Opened& opened) {
                                    opened.manager.removeCountersignature();
                                    opened.manager.removeCountersignature(); // nothing to do
                                })),
              "valid");
}

TEST(Removal, FindsSignaturesInOtherFoldersByTheirHandles) {
    const PartName other(u"/other/sig1.xml");
    Items items{signedLetter()};
    items["other/sig1.xml"] = items["_xmlsignatures/sig1.xml"];
    items.erase("_xmlsignatures/sig1.xml");
    items.replace("[Content_Types].xml", "/_xmlsignatures/sig1.xml", "/other/sig1.xml");
    items.replace("_xmlsignatures/_rels/origin.sigs.rels", "sig1.xml", "/other/sig1.xml");
    const Bytes zip = changed(items.toZip(), [&](Opened& opened) {
        EXPECT_EQ(opened.package.getManagedPartNames().count(other.toString()), 1U);
        EXPECT_EQ(sign(opened.manager).getName(), u"sig2");
    });
    for (const std::size_t which : {0U, 1U}) {
        const Bytes after = changed(zip, [&](Opened& opened) {
            const auto signatures = opened.manager.getSignatures();
            signatures.at(1).getImpl()->signatureId = u"1"; // both are "sig1" now
            opened.manager.removeSignature(signatures.at(which));
            EXPECT_EQ(opened.package.hasPart(other), which == 1);
        });
        EXPECT_EQ(verdictOn(after), "valid");
    }
    changed(zip, [](Opened& opened) {
        opened.manager.removeSignature(u"sig1");
        EXPECT_EQ(verdicts(opened.manager), Names{u"sig2"});
    });
}

TEST(CountersigningAndRemoving, AreRefusedInTheirOrder) {
    const Call counter = [](Opened& o) { countersign(o.manager); };
    const Call withoutKey = [](Opened& o) { o.manager.countersignAllSignatures(Bytes(), params1024); };
    const Call withoutKeys = [](Opened& o) { o.manager.countersignAllSignatures(Bytes(), Bytes(), params1024); };
    const Call removeAll = [](Opened& o) { o.manager.removeAllSignatures(); };
    const Call removeCounter = [](Opened& o) { o.manager.removeCountersignature(); };
    const auto remove = [](const std::u16string& name) -> Call {
        return [=](Opened& o) { o.manager.removeSignature(name); };
    };
    const auto removePart = [](const PartName& name) -> Call {
        return [=](Opened& o) { o.manager.deleteSignaturePart(name); };
    };
    const std::string could = "CouldNotGenerateSignature: ", notFound = "SignatureNotFound: ";
    const std::string noPart = notFound + "The provided signature part name is invalid or does not exist.";
    const std::string noSignature = notFound + "The provided part name is not a signature part.";
    const std::string noKeys = could + "The verification key is empty.";
    const std::vector<Call> changes{counter, remove(u"/"), removeAll, removeCounter, removePart(ORIGIN)};
    const std::vector<Refused> unsignedRows = {
        {noKeys, {withoutKeys}, OpenMode::ReadOnly},
        {"PackageReadOnly: Package is read-only", changes, OpenMode::ReadOnly},
        {"PackageCreateOnly: Package is open only for create", changes, OpenMode::CreateOnly},
        {"PackageNotOpen: Package is not open",
         {closed(counter), closed(remove(u"/")), closed(removeAll), closed(removeCounter), closed(removePart(ORIGIN)),
          closed([](Opened& o) { o.manager.getSignatures(); }),
          closed([](Opened& o) { o.manager.findSignature(u"/"); }),
          closed([](Opened& o) { o.manager.isPackageSigned(); }),
          closed([](Opened& o) { o.manager.isSigned(DOCUMENT); }),
          closed([](Opened& o) { o.manager.isPackageCountersigned(); })}},
        {could + "Package has no signatures present, and so cannot be countersigned.", {withoutKey}},
        {notFound + "Internal Error: No signature origin present.", {removePart(DOCUMENT)}},
        {noPart, {remove(u"sig1"), removePart(ORIGIN)}},
    };
    expectRefused(plainLetter(), unsignedRows);
    const std::vector<Refused> rows = {
        {could + "Package has already been countersigned once. Please remove countersignature before countersigning "
                 "again.",
         {withoutKey}},
        {notFound + "Incorrect signature name provided. It should not start with backslash like a part name.",
         {remove(u"/_xmlsignatures/sig1.xml")}},
        {noPart, {remove(u"sig3"), remove(u"1"), remove(u"a b"), remove(u"sig1?"), remove(u"\u00E9")}},
        {noSignature, {removePart(DOCUMENT), removePart(ORIGIN)}},
    };
    expectRefused(countersignedLetter(), rows);
    expectRefused(signedLetter(), {{could + "The signing key is empty.", {withoutKey}}});
    changed(signedLetter(), [&](Opened& opened) {
        const PartName name(u"/_xmlsignatures/sig2.xml");
        opened.package.createPart(name, ContentType(u"a/b"), opc::test::PartInfo());
        const auto find = [&] { opened.manager.findSignature(u"sig2"); };
        EXPECT_EQ(outcomeOf(find), noSignature);
        opened.package.getPart(ORIGIN).createInternalRelationship(TYPE + u"signature", name.getURI());
        EXPECT_EQ(outcomeOf(find), notFound + "Could not find the given signature by the given name.");
        EXPECT_EQ(outcomeOf([&] { sign(opened.manager); }),
                  could + "Internal Error: New signature should not have the same name as an existing one.");
        opened.manager.deleteSignaturePart(name);
        EXPECT_EQ(sign(opened.manager).getName(), u"sig3") << "the number was used up";
    });
    changed(letter().toZip(), [](Opened& opened) {
        opened.package.createPart(ORIGIN, ContentType(u"a/b"), opc::test::PartInfo());
        opened.package.createInternalRelationship(TYPE + u"origin", ORIGIN.getURI());
        EXPECT_TRUE(opened.package.getManagedPartNames().empty()) << "an origin alone is no signature";
        sign(opened.manager);
        EXPECT_EQ(opened.package.getRelationshipsByType(TYPE + u"origin").size(), 1U) << "it is used";
    });
}

/// Has one operation of the store after the other fail, until an action succeeds.
/// @return what was said, without the operation.
template <class Action, class Check>
std::set<std::string> failEachOperation(const Bytes& zip, Action action, Check check) {
    std::set<std::string> said;
    for (unsigned long k = 1; k < 1000; ++k) {
        Bytes bytes = zip;
        storage::ZipPackage stored(bytes);
        opc::test::OperationFaults faults;
        opc::test::FailingPackage physical(stored, faults);
        Package package(physical);
        DigitalSignatureManager manager(package);
        package.open(OpenMode::ReadWrite);
        faults.arm(k, boost::system::errc::io_error);
        const std::string outcome = outcomeOf([&] { action(manager); });
        if (faults.fired().empty())
            return said;
        said.insert(outcome.substr(0, outcome.find("refused ")));
        faults.disarm();
        check(package, manager);
    }
    ADD_FAILURE() << "it never succeeded";
    return said;
}

TEST(FailingStores, KeepTheirSignaturesUntilThePackageIsClosed) {
    const auto said = failEachOperation(
        countersignedLetter(), [](auto& manager) { manager.removeAllSignatures(); },
        [](Package& package, auto& manager) {
            package.close(true);
            package.open(OpenMode::ReadWrite);
            EXPECT_EQ(verdicts(manager), (Names{u"sig1", u"sig2", COUNTERSIGNATURE}));
        });
    const std::string start = "CouldNotRemoveSignature: Unable to delete ";
    const std::string end = ". Please try closing and reopening the package before trying to remove signature.";
    EXPECT_EQ(said, (std::set<std::string>{start + "part" + end, start + "relationship" + end}));
}

TEST(FailingStores, AreLeftWithoutATraceByASignatureThatCouldNotBeMade) {
    const Bytes plain = plainLetter(),
                withOrigin = changed(plain, [](Opened&opened) {
                    opened.package.createPart(ORIGIN, ContentType(u"a/b"), opc::test::PartInfo());
                    opened.package.createInternalRelationship(TYPE + u"origin", ORIGIN.getURI());
                });
    std::set<std::string> said;
    for (const Bytes& zip : {plain, withOrigin})
        said.merge(failEachOperation(
            zip, [](auto& manager) { sign(manager); },
            [&](Package& package, DigitalSignatureManager& manager) {
                EXPECT_TRUE(manager.getSignatures().empty());
                const bool isMade = package.hasPart(FIRST); // but could not be verified
                if (isMade)
                    manager.deleteSignaturePart(FIRST);
                EXPECT_EQ(package.hasPart(ORIGIN), zip == withOrigin && !isMade);
                EXPECT_EQ(package.getParts().size(), package.hasPart(ORIGIN) ? 5U : 4U);
                EXPECT_EQ(package.getRelationships().size(), package.hasPart(ORIGIN) ? 3U : 2U);
                sign(manager);
                EXPECT_EQ(verdicts(manager).size(), 1U);
            }));
    const std::string could = "CouldNotGenerateSignature: ";
    EXPECT_EQ(said, (std::set<std::string>{could, could + "Unable to compute digest. ",
                                           could + "Could not create/fetch signature origin part. ",
                                           could + "Unable to create signature part. "}));
}

} // namespace

} // namespace opc::model::test
