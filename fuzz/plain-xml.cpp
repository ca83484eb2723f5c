// SPDX-License-Identifier: Apache-2.0
// What is read without a validating parser: such a parser takes it, too, with the same data. The input is a letter for
// the vocabulary, and a document.
#include "Fuzz.hpp"

#include "model/ContentTypeReading.hpp"
#include "support/PlainReaders.hpp"

namespace {

using opc::fuzz::Bytes;

const auto target = opc::fuzz::targets().emplace("plain-xml", [](const Bytes& input) {
    const unsigned char vocabulary = input.empty() ? 0 : input.front();
    const Bytes part(input.begin() + (input.empty() ? 0 : 1), input.end());
    if (vocabulary == 'r')
        OPCRAFT_REQUIRE(opc::test::areRelationshipsAlike(part).value_or(true));
    else if (vocabulary == 'c')
        OPCRAFT_REQUIRE(opc::test::areContentTypesAlike(part).value_or(true));
    else if (vocabulary == 'p')
        OPCRAFT_REQUIRE(opc::test::areCorePropertiesAlike(part).value_or(true));
});

} // namespace
