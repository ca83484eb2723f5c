// SPDX-License-Identifier: Apache-2.0
#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Strings.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include "AllocationFaults.hpp"
#include "xml/SchemaValidation.hpp"

#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLString.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace opc::model {
namespace {

namespace allocations = opc::test::allocations;
using allocations::Extent;
using allocations::Kind;

/// Tries the action with one allocation after another failing, `step` apart, until none does.
/// @return how many allocations there are, to the step.
template <class Action>
unsigned long tryAll(Kind kind, Extent extent, unsigned long step, Action action) {
    unsigned long number = 1;
    for (bool isFired = true; isFired; number += step) {
        bool hasThrown = false;
        allocations::arm(kind, extent, number);
        try {
            action();
        } catch (const std::bad_alloc&) {
            hasThrown = true;
        }
        allocations::disarm();
        isFired = allocations::fired();
        EXPECT_TRUE(isFired || !hasThrown) << number;
    }
    return number;
}

TEST(XercesMemory, LetsNoGuardBeMadeWithoutMemoryAndTheNextOneBeMade) {
    const auto makeGuard = [] { const XercesGuard guard; };
    for (const Extent extent : {Extent::One, Extent::AllFrom}) {
        EXPECT_GT(tryAll(Kind::Library, extent, 1, makeGuard), 1U);
        EXPECT_GT(tryAll(Kind::Parser, extent, 97, makeGuard), 1000U);
        EXPECT_NO_THROW(makeGuard());
    }
}

TEST(XercesMemory, LetsTheCompilationOfEverySchemaBeLeft) {
    using namespace embedded;
    const XercesGuard guard;
    const auto compileAll = [] {
        const ParserHandle parser = XercesHelper::createParser();
        for (const EmbeddedSchema* schema : {&xml, &dc, &dcmitype, &dcterms, &opc_coreProperties, &opc_contentTypes,
                                             &opc_relationships, &opc_dsig, &xmldsig})
            loadEmbeddedSchema(*parser, *schema);
    };
    for (const Extent extent : {Extent::One, Extent::AllFrom}) {
        EXPECT_GT(tryAll(Kind::Library, extent, 1, compileAll), 1U);
        EXPECT_GT(tryAll(Kind::Parser, extent, 397, compileAll), 5000U);
    }
    EXPECT_NO_THROW(compileAll());
}

TEST(XercesMemory, EndsACallThatDrewOnTheReserve) {
    const XercesGuard guard;
    const ParserHandle parser = XercesHelper::createParser();
    const DocumentHandle document = XercesHelper::createDocument();
    const std::string text(20'000, 'x'); // more than a document has at hand
    const std::vector<std::pair<const char*, std::function<void()>>> calls = {
        {"a factory", [] { XercesHelper::createDocument(); }},
        {"a schema", [&] { loadEmbeddedSchema(*parser, embedded::opc_relationships); }},
        {"a read", [&] { XercesHelper::readDocumentFromString(*parser, u"<a/>", false, u"", u""); }},
        {"an element", [&] { XercesHelper::appendElement(document.get(), XercesString(toString(text))); }},
        {"a string", [] { const XercesString string(u"text"); }},
    };
    for (const auto& [what, call] : calls) {
        allocations::arm(Kind::Parser, Extent::One, 1);
        EXPECT_THROW(call(), std::bad_alloc) << what;
        allocations::disarm();
    }
}

TEST(XercesMemory, LetsTheParserMeetAShortageThatTheReserveDoesNotCover) {
    const XercesGuard guard;
    const std::string start = "<a b='";
    const std::string end = "'/>";
    std::vector<unsigned char> bytes(6 * 1024 * 1024, 'x');
    std::copy(start.begin(), start.end(), bytes.begin());
    std::copy(end.begin(), end.end(), bytes.end() - static_cast<std::ptrdiff_t>(end.size()));
    const auto read = [&] {
        ByteArrayInAdaptor stream(bytes);
        const ParserHandle parser = XercesHelper::createParser();
        XercesHelper::readDocumentFromStream(*parser, stream, false, u"", u"");
    };
    EXPECT_GT(tryAll(Kind::Parser, Extent::AllFrom, 23, read), 100U);
    EXPECT_NO_THROW(read());
}

TEST(XercesMemory, TellsAnApplicationThatUsesXercesItselfOfAShortage) {
    const XercesGuard guard;
    allocations::arm(Kind::Parser, Extent::One, 1);
    EXPECT_THROW(xercesc::XMLString::replicate(u"text"), xercesc::OutOfMemoryException);
    allocations::disarm();
}

} // namespace
} // namespace opc::model
