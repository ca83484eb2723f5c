// SPDX-License-Identifier: Apache-2.0
#include "signatures/Fixture.hpp"

namespace opc::model::test {

namespace {

/// Of each signature, whether it covers everything, or the content.
std::string coverageOf(const Opened& opened) {
    std::string text;
    for (const SignatureReport& each : opened.manager.examineAllSignatures(noOptions(), TrustStore())) {
        const auto isComplete = [&](CoverageScope scope) {
            return opened.manager.examineCoverage({each}, opened.physical.getOtherItems(), scope).at(0).isComplete();
        };
        text += (text.empty() ? "" : " ") + toASCIIString(each.signature.getName()) +
                (each.isSignatureValid() ? ": " : " (invalid): ") +
                (isComplete(CoverageScope::All)       ? "all"
                 : isComplete(CoverageScope::Content) ? "content"
                                                      : "less");
    }
    return text;
}

TEST(Coverage, OfASignatureThatHoldsIsThatOfTheContent) {
    for (const SignatureForm form : {SignatureForm::Library, SignatureForm::Standard})
        for (const Fields& row : opc::test::readTable("signatures/coverage.tsv")) {
            Items items = letter();
            change(items, row, form);
            Bytes zip = items.toZip();
            std::string coverage = coverageOf(Opened(zip, OpenMode::ReadOnly, form));
            if (form == SignatureForm::Standard) { // with a second origin nothing is valid
                boost::erase_all(coverage, " (invalid)");
                for (const char* part : {"word/sig1.xml", "word/signature/sig1.xml"})
                    boost::replace_all(coverage, part, "sig1"); // elsewhere, a signature is named by its part
            }
            EXPECT_EQ(coverage, "sig1: " + row.back()) << row[0] << ", form " << static_cast<int>(form);
        }
}

TEST(Coverage, IsThatOfEachSignatureByItself) {
    const std::pair<std::string, std::function<void(Opened&)>> rows[] = {
        {"sig1: all sig2: all", [](Opened& o) { sign(o), sign(o); }},
        {"sig1: all sig2: all sigcountersig: all", [](Opened& o) { sign(o), sign(o), countersign(o); }},
        {"sig1: all sigcountersig (invalid): less sig2: all", [](Opened& o) { sign(o), countersign(o), sign(o); }},
        {"sig2: all", [](Opened& o) { sign(o), sign(o), o.manager.removeSignature(u"sig1"); }},
        {"sigcountersig (invalid): less",
         [](Opened& o) { sign(o), countersign(o), o.manager.removeSignature(u"sig1"); }},
        {"sig1: less sig2: less",
         [](Opened& o) {
             const SigningRequest whole = o.manager.getAllPartsAndRels();
             o.manager.sign(whole.parts, {}, fixedKey(), params1024);
             o.manager.sign({}, whole.selectors, fixedKey(), params1024);
         }},
        {"sig1: less sig2: all",
         [](Opened& o) {
             sign(o), o.package.createPart(PartName(u"/evil"), ContentType(u"a/b"), opc::test::PartInfo()), sign(o);
         }},
    };
    for (const auto& [covered, make] : rows) {
        Bytes zip = letter().toZip();
        Opened opened(zip);
        make(opened);
        EXPECT_EQ(coverageOf(opened), covered);
    }
}

TEST(Coverage, NamesWhatIsCoveredAndWhatNot) {
    using Parts = std::vector<PartName>;
    const PartName image(u"/media/image.png"), core(u"/metadata/coreProperties.xml"), styles(u"/word/styles.xml");
    Bytes zip = letter().toZip();
    Opened opened(zip);
    DigitalSignatureManager& manager = opened.manager;
    const auto coverage = [&](std::size_t of) {
        return manager.examineCoverage(manager.examineAllSignatures(noOptions(), TrustStore()), {"a.bin", "b/"}).at(of);
    };
    manager.sign({DOCUMENT}, {{u"/", BY_ID, u"rId1"}}, fixedKey(), params1024);
    const CoverageReport first = coverage(0);
    EXPECT_EQ(first.coveredParts, Parts{DOCUMENT});
    EXPECT_EQ(first.uncoveredParts, (Parts{image, styles}));
    EXPECT_EQ(first.exceptedParts, Parts{core});
    EXPECT_EQ(first.coveredRelationships, std::vector{opened.package.getRelationshipByID(u"rId1")});
    EXPECT_EQ(first.uncoveredRelationships.size(), 4U);
    EXPECT_EQ(first.exceptedRelationships.size(), 1U);
    EXPECT_EQ(first.otherItems, Fields{"a.bin"});
    EXPECT_EQ(first.exceptedItems, Fields{"b/"});
    EXPECT_EQ(first.externalTargets, 2U);
    EXPECT_EQ(manager.findSigningGaps({"a.bin", "b/"}).otherItems, Fields{"a.bin"});
    EXPECT_TRUE(manager.findSigningGaps().danglingRelationships.empty());

    sign(opened);
    opened.package.getPart(DOCUMENT).getOutputStream()->write(toBytes("x").data(), 1);
    opened.package.deletePart(image);
    EXPECT_EQ(coverage(1).coveredParts, (Parts{core, styles})) << "what else was signed still holds";
    EXPECT_EQ(manager.findSigningGaps().danglingRelationships.at(0).getID(), u"rId10");
    for (const DigitalSignature& each : manager.getSignatures())
        each.getImpl()->objects.at(0).xmlBytes += u" ";
    EXPECT_TRUE(coverage(1).coveredParts.empty()) << "who changes a manifest may say that anything is covered";
}

} // namespace

} // namespace opc::model::test
