// SPDX-License-Identifier: Apache-2.0
#include "signatures/SignatureFixture.hpp"

namespace opc::model::test {

namespace {

TEST(Signing, IsUndoneWithoutATrace) {
    const Bytes zip = signedLetter();
    EXPECT_EQ(verdictOn(zip), "valid");
    const Bytes removed = changed(zip, [](Opened& opened) { opened.manager.removeAllSignatures(); });
    EXPECT_EQ(verdictOn(removed), "unsigned");
    EXPECT_EQ(Items(removed)["_rels/.rels"].find("digitalsignature"), std::string::npos);
    EXPECT_EQ(Items(removed)["[Content_Types].xml"].find("digital"), std::string::npos);
}

} // namespace

} // namespace opc::model::test
