// SPDX-License-Identifier: Apache-2.0
#include "signatures/Fixture.hpp"
#include "support/FailingPackage.hpp"

#include <set>

namespace opc::model::test {

namespace {

using Names = std::vector<std::u16string>;

const std::u16string COUNTERSIGNATURE = u"sigcountersig";
const PartName FIRST(u"/_xmlsignatures/sig1.xml");

/// The letter as the library writes it.
Bytes plainLetter() {
    return changed(
        letter().toZip(),
        [](Opened& opened) {
            opened.package.createInternalRelationship(u"urn:x", DOCUMENT.getURI(), u"x");
            opened.package.deleteRelationship(u"x");
            opened.package.createPart(PartName(u"/x"), ContentType(u"a/b"), opc::test::PartInfo());
            opened.package.deletePart(PartName(u"/x"));
        });
}

Bytes countersignedLetter() {
    return changed(
        plainLetter(), [](Opened& opened) { sign(opened), sign(opened), countersign(opened); });
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
    const KeyRing ring;
    const TrustStore trust = ring.trust();
    const X509Certificate leaf = ring.certificate("leaf");
    const Bytes key = fixedKey(), publicKey = publicKeyOf(key);
    const auto options = allOptions();
    const std::function<void(Opened&)> forms[] = {
        countersign,
        [&](Opened& o) { o.manager.countersignAllSignatures(key, publicKey, params1024); },
        [&](Opened& o) { o.manager.countersignAllSignatures(key, leaf, {}, options, params1024, trust); },
        [&](Opened& o) {
            o.manager.countersignAllSignatures(ring.bundleOf("leaf", "leaf"), options, params1024, trust);
        },
    };
    for (const auto& form : forms) {
        Bytes zip = changed(signedLetter(), form);
        const Opened opened(zip, OpenMode::ReadOnly);
        const DigitalSignature found = opened.manager.getCountersignature();
        EXPECT_TRUE(opened.manager.isPackageCountersigned());
        EXPECT_TRUE(opened.manager.verifyAllSignatures(options, trust).isValid());
        EXPECT_TRUE(opened.manager.verifyCountersignature(options, trust).isValid());
        EXPECT_TRUE(opened.manager.verifyCountersignature(leaf, {}, options, trust).isValid());
        EXPECT_TRUE(opened.manager.verifyCountersignature(publicKey).isValid());
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

TEST(Countersignature, IsMadeAnewForOneSignatureMore) {
    changed(
        countersignedLetter(),
        [](Opened& opened) {
            EXPECT_EQ(verdicts(opened.manager), (Names{u"sig1", u"sig2", COUNTERSIGNATURE}));
            sign(opened);
            EXPECT_EQ(verdicts(opened.manager), (Names{u"!sigcountersig", u"sig1", u"sig2", u"sig3"}));
            opened.manager.removeCountersignature();
            opened.manager.removeCountersignature(); // nothing to do
            countersign(opened);
            EXPECT_EQ(verdicts(opened.manager), (Names{u"sig1", u"sig2", u"sig3", COUNTERSIGNATURE}));
        });
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
    EXPECT_EQ(Items(changed(
                        zip, [](Opened& opened) { opened.manager.removeAllSignatures(); }))
                  .byName(),
              before);
    EXPECT_EQ(verdictOn(changed(zip, [](Opened& opened) { opened.manager.removeSignature(u"sig1"); })),
              "refused \"Part referenced to by the signature is not present in the package.\"");
}

TEST(Removal, FindsSignaturesInOtherFoldersByTheirHandles) {
    const PartName other(u"/other/sig1.xml");
    Items items{signedLetter()};
    change(items, {"", "", "", ">", "other/sig1.xml", "[Content_Types].xml", "/_xmlsignatures/sig1.xml",
                   "/other/sig1.xml", "_xmlsignatures/_rels/origin.sigs.rels", "sig1.xml", "/other/sig1.xml", ""});
    const Bytes zip = changed(items.toZip(), [&](Opened& opened) {
        EXPECT_EQ(opened.package.getManagedPartNames().count(other.toString()), 1U);
        EXPECT_EQ(sign(opened).getName(), u"sig2");
    });
    for (const std::size_t which : {0U, 1U}) {
        const Bytes after = changed(zip, [&](Opened& opened) {
            const auto signatures = opened.manager.getSignatures();
            signatures.at(0).getImpl()->signatureId = u"2"; // both are "sig2" now
            EXPECT_EQ(opened.manager.getSignature(u"sig2").getImpl(), signatures[1].getImpl()) << "where it should be";
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

TEST(FailingStores, GiveNoVerdict) {
    const auto said = failEachOperation(
        signedLetter(),
        [](auto& manager) { EXPECT_TRUE(manager.verifyAllSignatures(noOptions(), TrustStore()).isValid()); },
        [](auto&, auto& manager) { EXPECT_EQ(verdicts(manager), Names{u"sig1"}); });
    EXPECT_EQ(said, std::set<std::string>{"InvalidSignature: Unable to compute digest. "});
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
    const Bytes plain = plainLetter();
    const Bytes withOrigin = changed(plain, [](Opened& opened) {
        opened.package.createPart(ORIGIN, ContentType(u"a/b"), opc::test::PartInfo());
        opened.package.createInternalRelationship(TYPE + u"origin", ORIGIN.getURI());
        EXPECT_TRUE(opened.package.getManagedPartNames().empty()) << "an origin alone is not a signature";
    });
    std::set<std::string> said;
    for (const Bytes& zip : {plain, withOrigin})
        said.merge(failEachOperation(
            zip, [](auto& manager) { manager.signPackage(fixedKey(), params1024); },
            [&](Package& package, DigitalSignatureManager& manager) {
                EXPECT_TRUE(manager.getSignatures().empty());
                const bool isMade = package.hasPart(FIRST); // but could not be verified
                if (isMade)
                    manager.deleteSignaturePart(FIRST);
                EXPECT_EQ(package.hasPart(ORIGIN), zip == withOrigin && !isMade);
                EXPECT_EQ(package.getParts().size(), package.hasPart(ORIGIN) ? 5U : 4U);
                EXPECT_EQ(package.getRelationships().size(), package.hasPart(ORIGIN) ? 3U : 2U);
                manager.signPackage(fixedKey(), params1024);
                EXPECT_EQ(verdicts(manager).size(), 1U);
                EXPECT_EQ(package.getRelationshipsByType(TYPE + u"origin").size(), 1U) << "one that is there is used";
            }));
    const std::string could = "CouldNotGenerateSignature: ";
    EXPECT_EQ(said, (std::set<std::string>{could, could + "Unable to compute digest. ",
                                           could + "Could not create/fetch signature origin part. ",
                                           could + "Unable to create signature part. "}));
}

} // namespace

} // namespace opc::model::test
