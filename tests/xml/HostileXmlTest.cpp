// SPDX-License-Identifier: Apache-2.0
#include "XmlTestSupport.hpp"

#include "xml/EmbeddedSchemas.hpp"
#include "xml/SchemaValidation.hpp"

#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/util/IOException.hpp>
#include <xercesc/util/XMLNetAccessor.hpp>

#include <boost/algorithm/string/replace.hpp>

#include <sys/inotify.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <utility>

namespace opc::model::test {
namespace {

/// The way of Xerces to the network: counts who asks for it, and refuses.
class WatchedNetwork final : public xercesc::XMLNetAccessor {
public:
    explicit WatchedNetwork(int& requests) : requests_(requests) {}
    const XMLCh* getId() const override { return u"watched"; }
    xercesc::BinInputStream* makeNew(const xercesc::XMLURL&, const xercesc::XMLNetHTTPInfo*) override {
        ++requests_;
        return nullptr;
    }

private:
    int& requests_;
};

/// Watches a file, a schema, and the network for those who open them.
class HostileXmlTest : public XmlTest {
protected:
    HostileXmlTest() {
        std::ofstream(path_)
            << "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'><xs:element name='a'/></xs:schema>";
        EXPECT_GE(inotify_add_watch(watch_, path_.c_str(), IN_OPEN), 0);
        xercesc::XMLPlatformUtils::fgNetAccessor = &network_;
    }
    ~HostileXmlTest() override {
        xercesc::XMLPlatformUtils::fgNetAccessor = accessor_;
        ::close(watch_);
        std::filesystem::remove(path_);
    }

    int opened() {
        char event[4096];
        return std::exchange(requests_, 0) + (::read(watch_, event, sizeof(event)) > 0 ? 1 : 0);
    }

    const std::string path_ = ::testing::TempDir() + "opcraft-watched-" + std::to_string(getpid());
    const std::string resources_[3] = {path_, "file://" + path_, "http://127.0.0.1:9/x.xsd"};
    const int watch_ = inotify_init1(IN_NONBLOCK);
    int requests_ = 0;
    WatchedNetwork network_{requests_};
    xercesc::XMLNetAccessor* const accessor_ = xercesc::XMLPlatformUtils::fgNetAccessor;
};

TEST_F(HostileXmlTest, OpensNoFileAndNoConnectionThatADocumentNames) {
    loadEmbeddedSchema(*parser_, embedded::opc_contentTypes);
    for (const bool validate : {false, true})
        for (const std::string& resource : resources_)
            for (const auto& row : readTable("xml/hostile.tsv")) {
                const std::string document = boost::replace_all_copy(row[1], "RESOURCE", resource);
                const std::string result = verdict(document, validate);
                EXPECT_TRUE(row[0].empty() || result == row[0]) << result << ": " << document;
                EXPECT_EQ(opened(), 0) << document;
            }
}

TEST_F(HostileXmlTest, WouldBeNoticedIfItOpenedOne) {
    auto* ls = xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
    const ParserHandle plain(ls->createLSParser(xercesc::DOMImplementationLS::MODE_SYNCHRONOUS, nullptr));
    for (const XMLCh* parameter : {XMLUni::fgDOMValidate, XMLUni::fgXercesSchema})
        plain->getDomConfig()->setParameter(parameter, true);
    for (const std::string& resource : resources_) {
        const std::string text = boost::replace_all_copy(readTable("xml/hostile.tsv").front()[1], "RESOURCE", resource);
        const auto* bytes = reinterpret_cast<const XMLByte*>(text.data());
        xercesc::Wrapper4InputSource source(new xercesc::MemBufInputSource(bytes, text.size(), "memory"));
        plain->parse(&source);
        EXPECT_GE(opened(), 1) << resource;
    }
}

std::string times(std::uint64_t count, const std::string& unit) {
    std::string text;
    for (std::uint64_t i = 0; i < count; ++i)
        text += unit;
    return text;
}

/// As often, "#" being the number.
std::string numbered(std::uint64_t count, const std::string& unit) {
    std::string text;
    for (std::uint64_t i = 0; i < count; ++i)
        text += boost::replace_all_copy(unit, "#", std::to_string(i));
    return text;
}

std::string nested(std::uint64_t depth) {
    return times(depth, "<a>") + times(depth, "</a>");
}

/// As many elements with IDs that Xerces cannot tell apart by their hashes.
std::string withIdsOfOneHash(unsigned bits) {
    std::string text;
    for (unsigned i = 0; i < 1U << bits; ++i) {
        text += "<Object Id='";
        for (unsigned bit = 0; bit < bits; ++bit)
            text += (i >> bit & 1) != 0 ? "bT" : "az"; // a digit to the base 38 is carried
        text += "'/>";
    }
    return text;
}

struct Bound {
    std::string head;
    std::string verdict;
    std::string unit{}; ///< what follows the head again and again
    std::uint64_t times = 0;
    std::string tail{};
};

class BoundsTest : public XmlTest {
protected:
    /// One parser reads all, so that an accepted document shows that a refusal before it has left no count behind.
    void expectAll(const std::vector<Bound>& bounds, bool validate = false, const std::string& before = "",
                   const std::string& after = "") {
        for (const auto& [head, expected, unit, times, tail] : bounds) {
            RepeatingStream stream(before + head, unit, times, tail + after);
            const std::string result = verdict(stream, validate);
            EXPECT_EQ(result.substr(0, 200), expected) << head.substr(0, 60) << unit << tail.substr(0, 60);
        }
    }

    const std::string tooDeep = "XML content is nested deeper than 128 elements";
    const std::string manyAttributes = "XML content has an element with more than 128 attributes";
    const std::string manyNodes = "XML content has more than 1000000 nodes";
    const std::string manyNames = "XML content has more than 10000 different names";
    const std::string longNamespace = "XML content has a namespace longer than 1024 characters";
    const std::string manyIds = "XML content has IDs that take more than 100000000 comparisons";
    const std::string tooLarge = "XML content is larger than 64 MiB";
    const std::string longest = std::string(1024, 'n');
    const std::string million = std::string(1000000, 'n');
};

TEST_F(BoundsTest, AreMetWithoutValidation) {
    std::vector<Bound> bounds = {
        {nested(128), "accepted"},
        {nested(129), tooDeep},
        {"<b>" + nested(127) + nested(127) + "</b>", "accepted"}, // what was closed does not count
        {"", tooDeep, "<a>", 1000000},
        {"<a>", "accepted", "<b c=''/>", 499999, "<c/></a>"},
        {"<a>", manyNodes, "<b c=''/>", 499999, "<c/><d/></a>"},
        {"<a>", manyNodes, "<!---->", 1000000, "</a>"},
        {"<a>", manyNodes, "<?b?>", 1000000, "</a>"},
        {"<a>", manyNodes, "<![CDATA[]]>", 1000000, "</a>"},
        {"<a>" + numbered(9999, "<b#/>") + "</a>", "accepted"},
        {"<a>" + numbered(10000, "<b#/>") + "</a>", manyNames},
        {"<a>" + numbered(10000, "<a b#='x'/>") + "</a>", manyNames},
        {"<a>" + numbered(10000, "<a xmlns:b#='x'/>") + "</a>", manyNames},
        {"<a>" + numbered(10000, "<a xmlns='b#'/>") + "</a>", manyNames},
        {"<a/>", "accepted", " ", XercesHelper::MAX_XML_SIZE - 4},
        {"<a/>", tooLarge, " ", XercesHelper::MAX_XML_SIZE - 3},
        {"<a>", tooLarge, "x", 1ULL << 40, "</a>"},
        {"<a xmlnsp='" + million + "' xmlns:p='n' p:xmlns='" + million + "'/>", "accepted"}, // no namespaces
    };
    for (const std::string prefix : {"b", "xmlns:b"}) {
        const std::string attribute = " " + prefix + "#='x'";
        bounds.push_back({"<a" + numbered(128, attribute) + "/>", "accepted"});
        bounds.push_back({"<a" + numbered(129, attribute) + "/>", manyAttributes});
        bounds.push_back({"<a" + numbered(50000, attribute) + "/>", manyAttributes});
    }
    for (const auto& [name, child] : {std::pair("xmlns", "<b/>"), {"xmlns:p", "<b p:c=''/>"}}) {
        const std::string start = "<a " + std::string(name) + "='";
        bounds.push_back({start + longest + "'/>", "accepted"});
        bounds.push_back({start + longest + "n'/>", longNamespace});
        bounds.push_back({"<a><b/>" + start + longest + "n'/></a>", longNamespace});
        // Without the bound it would cost its length at each node.
        bounds.push_back({start + million + "'>", longNamespace, child, 400000, "</a>"});
    }
    expectAll(bounds);
}

TEST_F(BoundsTest, AreMetWithValidation) {
    loadEmbeddedSchema(*parser_, embedded::opc_dsig);
    loadEmbeddedSchema(*parser_, embedded::xmldsig);
    const std::string object = "<Object xmlns='http://www.w3.org/2000/09/xmldsig#'>";
    expectAll({{nested(127), "accepted"},
               {"", tooDeep, "<a>", 1000000},
               {"<a" + numbered(50000, " b#='x'") + "/>", manyAttributes},
               {"<a xmlns='" + million + "'>", longNamespace, "<b/>", 400000, "</a>"},
               {numbered(1 << 17, "<Object Id='rId#00'/>"), "accepted"}, // any number of others
               {withIdsOfOneHash(17), manyIds},
               {numbered(1 << 17, "<Object Id='a#'/>"), "accepted"}},
              true, object, "</Object>");
}

TEST_F(BoundsTest, AWholeMillionIsCheckedInLinearTime) { // quadratic, it takes an hour
    loadEmbeddedSchema(*parser_, embedded::opc_contentTypes);
    const std::string spaces(1000000, ' ');
    const std::string extension = "ContentType='a/b' Extension='";
    expectAll({{"ContentType='a/b;c=&quot;" + spaces + "' Extension='x'", "accepted"},
               {"ContentType='a/b" + spaces + "' Extension='x'", "accepted"},
               {extension + std::string(1000000, 'a') + "'", "accepted"},
               {extension + std::string(1000000, ':') + "/'", "value '" + std::string(193, ':')}},
              true, "<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'><Default ",
              "/></Types>");
}

/// Counts the bytes that Xerces holds.
class CountingMemory final : public xercesc::MemoryManager {
public:
    xercesc::MemoryManager* getExceptionMemoryManager() override { return this; }
    void* allocate(XMLSize_t size) override {
        void* block = ::operator new(size);
        held += sizes_[block] = size;
        return block;
    }
    void deallocate(void* block) override {
        if (block == nullptr)
            return;
        held -= sizes_.extract(block).mapped();
        ::operator delete(block);
    }
    std::size_t held = 0;

private:
    std::map<void*, std::size_t> sizes_;
};

TEST(XmlMemoryTest, StaysLevelOverManyDocumentsAndIsAllGivenBackEvenAfterFailures) {
    CountingMemory memory;
    const XercesGuard guard; // what is set up once, is so with the memory of before
    auto* const before = std::exchange(xercesc::XMLPlatformUtils::fgMemoryManager, &memory);
    {
        const auto parser = XercesHelper::createParser();
        loadEmbeddedSchema(*parser, embedded::opc_relationships);
        const std::string root = "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/relationships'>";
        std::size_t early = 0;
        for (int i = 0; i < 300; ++i) {
            for (const std::string& document :
                 {root + "<Relationship Id='a' Type='t' Target='x'/></Relationships>", root + "<Relationship/>",
                  root.substr(0, 9), std::string("<!DOCTYPE a><a/>"), times(1000, "<a>"), std::string("fails")}) {
                RepeatingStream stream(document, "", 0, "");
                if (document == "fails")
                    stream.atEnd = [] { throw InvalidXMLDocument("disk gone"); };
                verdictOf([&] { XercesHelper::readDocumentFromStream(*parser, stream, true, u"", u""); });
            }
            early = i == 99 ? memory.held : early;
        }
        EXPECT_GT(early, 0U);
        EXPECT_LT(memory.held, early + 16 * 1024);
    }
    xercesc::XMLPlatformUtils::fgMemoryManager = before;
    EXPECT_EQ(memory.held, 0U);
}

} // namespace
} // namespace opc::model::test
