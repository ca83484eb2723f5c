// SPDX-License-Identifier: Apache-2.0
#include "XmlTestSupport.hpp"

#include "xml/EmbeddedSchemas.hpp"
#include "xml/SchemaValidation.hpp"

#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/dom/DOMImplementationLS.hpp>
#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

namespace opc::model::test {
namespace {

/// A schema in a file, and whether anybody has opened it.
class WatchedFile {
public:
    WatchedFile()
        : path_(std::filesystem::path(::testing::TempDir()) / ("opcraft-watched-" + std::to_string(getpid()))) {
        std::ofstream(path_)
            << "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'><xs:element name='a'/></xs:schema>";
        watch_ = inotify_init1(IN_NONBLOCK);
        EXPECT_GE(inotify_add_watch(watch_, path_.c_str(), IN_OPEN), 0);
    }
    ~WatchedFile() {
        ::close(watch_);
        std::filesystem::remove(path_);
    }
    WatchedFile(const WatchedFile&) = delete;
    WatchedFile& operator=(const WatchedFile&) = delete;

    std::string path() const { return path_.string(); }

    bool wasOpened() const {
        char event[4096];
        return ::read(watch_, event, sizeof(event)) > 0;
    }

private:
    std::filesystem::path path_;
    int watch_;
};

/// A server that counts who connects, and hangs up.
class WatchedServer {
public:
    WatchedServer() {
        socket_ = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        EXPECT_EQ(::bind(socket_, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(::listen(socket_, 8), 0);
        EXPECT_EQ(::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size), 0);
        url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/x.xsd";
        thread_ = std::thread([this] { serve(); });
    }
    ~WatchedServer() {
        stop_ = true;
        thread_.join();
        ::close(socket_);
    }
    WatchedServer(const WatchedServer&) = delete;
    WatchedServer& operator=(const WatchedServer&) = delete;

    const std::string& url() const { return url_; }

    /// Waits until a connection that was made must have been seen.
    int connections() {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return connections_;
    }

private:
    void serve() {
        while (!stop_) {
            pollfd waiting{socket_, POLLIN, 0};
            if (::poll(&waiting, 1, 10) > 0) {
                ++connections_;
                ::close(::accept(socket_, nullptr, nullptr));
            }
        }
    }

    int socket_;
    std::string url_;
    std::atomic<int> connections_{0};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

class HostileXmlTest : public XmlTest {
protected:
    /// Documents that name a resource in every way there is.
    static std::vector<std::string> documentsThatName(const std::string& resource) {
        const std::string xsi = " xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' ";
        return {
            "<a" + xsi + "xsi:noNamespaceSchemaLocation='" + resource + "'/>",
            "<a xmlns='urn:a'" + xsi + "xsi:schemaLocation='urn:a " + resource + "'/>",
            "<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'" + xsi +
                "xsi:schemaLocation='http://schemas.openxmlformats.org/package/2006/content-types " + resource + "'/>",
            "<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'" + xsi +
                "xsi:noNamespaceSchemaLocation='" + resource + "'/>",
            "<!DOCTYPE a SYSTEM '" + resource + "'><a/>",
            "<!DOCTYPE a PUBLIC 'x' '" + resource + "'><a/>",
            "<!DOCTYPE a [<!ENTITY e SYSTEM '" + resource + "'>]><a>&e;</a>",
            "<!DOCTYPE a [<!ENTITY % e SYSTEM '" + resource + "'> %e;]><a/>",
            "<a><i:include xmlns:i='http://www.w3.org/2001/XInclude' href='" + resource + "'/></a>",
            "<?xml-stylesheet href='" + resource + "'?><a/>",
        };
    }

    WatchedFile file_;
    WatchedServer server_;
};

TEST_F(HostileXmlTest, opens_no_file_and_no_connection_that_a_document_names) {
    for (const bool validate : {false, true}) {
        loadEmbeddedSchema(*parser_, embedded::opc_contentTypes);
        for (const std::string& resource : {file_.path(), "file://" + file_.path(), server_.url()}) {
            for (const std::string& document : documentsThatName(resource)) {
                const std::string result = verdict(document, validate);
                EXPECT_FALSE(file_.wasOpened()) << document;
                EXPECT_EQ(server_.connections(), 0) << document;
                if (document.find("<Types") == 0) {
                    EXPECT_EQ(result, "accepted") << "the cached grammar goes on working: " << document;
                }
                if (document.find("<!DOCTYPE") == 0) {
                    EXPECT_EQ(result, "invalid document structure") << document;
                }
            }
        }
    }
}

TEST_F(HostileXmlTest, would_be_noticed_if_it_opened_one) {
    auto* ls = xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
    const ParserHandle plain(ls->createLSParser(xercesc::DOMImplementationLS::MODE_SYNCHRONOUS, nullptr));
    for (const XMLCh* parameter : {xercesc::XMLUni::fgDOMValidate, xercesc::XMLUni::fgXercesSchema}) {
        plain->getDomConfig()->setParameter(parameter, true);
    }
    for (const std::string& resource : {file_.path(), server_.url()}) {
        const auto bytes = toBytes(documentsThatName(resource).front());
        xercesc::Wrapper4InputSource source(new xercesc::MemBufInputSource(bytes.data(), bytes.size(), "memory"));
        plain->parse(&source);
    }
    EXPECT_TRUE(file_.wasOpened());
    EXPECT_GE(server_.connections(), 1);
}

class BoundsTest : public XmlTest {
protected:
    static std::string nested(std::uint64_t depth) {
        std::string text;
        for (std::uint64_t i = 0; i < depth; ++i) {
            text += "<a>";
        }
        for (std::uint64_t i = 0; i < depth; ++i) {
            text += "</a>";
        }
        return text;
    }

    static std::string withAttributes(std::uint64_t count, const std::string& prefix) {
        std::string text = "<a";
        for (std::uint64_t i = 0; i < count; ++i) {
            text += " " + prefix + "b" + std::to_string(i) + "='x'";
        }
        return text + "/>";
    }

    void loadSignatureSchemas() {
        loadEmbeddedSchema(*parser_, embedded::opc_dsig);
        loadEmbeddedSchema(*parser_, embedded::xmldsig);
    }

    const std::string object_ = "<Object xmlns='http://www.w3.org/2000/09/xmldsig#'>";
};

TEST_F(BoundsTest, refuses_elements_nested_deeper_than_the_bound_with_and_without_validation) {
    const std::string tooDeep = "XML content is nested deeper than 128 elements";
    EXPECT_EQ(verdict(nested(128)), "accepted");
    EXPECT_EQ(verdict(nested(129)), tooDeep);
    EXPECT_EQ(verdict("<b>" + nested(127) + nested(127) + "</b>"), "accepted") << "what was closed does not count";

    RepeatingStream million("", "<a>", 1000000, "");
    EXPECT_EQ(verdict(million), tooDeep);
    EXPECT_EQ(verdict(nested(128)), "accepted") << "a refusal leaves no count behind";

    loadSignatureSchemas();
    EXPECT_EQ(verdict(object_ + nested(127) + "</Object>", true), "accepted");
    RepeatingStream validated(object_, "<a>", 1000000, "");
    EXPECT_EQ(verdict(validated, true), tooDeep);
}

TEST_F(BoundsTest, refuses_more_attributes_than_the_bound_and_does_so_at_once) {
    const std::string tooMany = "XML content has an element with more than 128 attributes";
    for (const std::string prefix : {"", "xmlns:"}) {
        EXPECT_EQ(verdict(withAttributes(128, prefix)), "accepted") << prefix;
        EXPECT_EQ(verdict(withAttributes(129, prefix)), tooMany) << prefix;
        EXPECT_EQ(verdict(withAttributes(50000, prefix)), tooMany) << prefix;
    }
    loadSignatureSchemas();
    EXPECT_EQ(verdict(object_ + withAttributes(50000, "") + "</Object>", true), tooMany);
}

TEST_F(BoundsTest, refuses_more_nodes_and_more_names_than_the_bounds) {
    const std::string tooMany = "XML content has more than 1000000 nodes";
    RepeatingStream many("<a>", "<b c=''/>", 499999, "<c/></a>");
    EXPECT_EQ(verdict(many), "accepted");
    RepeatingStream more("<a>", "<b c=''/>", 499999, "<c/><d/></a>");
    EXPECT_EQ(verdict(more), tooMany);
    for (const std::string node : {"<!---->", "<?b?>", "<![CDATA[]]>"}) {
        RepeatingStream others("<a>", node, 1000000, "</a>");
        EXPECT_EQ(verdict(others), tooMany) << node;
    }
    const auto withNames = [](const std::string& before, const std::string& after, int count) {
        std::string text = "<a>";
        for (int i = 0; i < count; ++i) {
            text += before + std::to_string(i) + after;
        }
        return text + "</a>";
    };
    EXPECT_EQ(verdict(withNames("<b", "/>", 9999)), "accepted");
    for (const auto& [before, after] : std::vector<std::pair<std::string, std::string>>{
             {"<b", "/>"}, {"<a b", "='x'/>"}, {"<a xmlns:b", "='x'/>"}, {"<a xmlns='b", "'/>"}}) {
        EXPECT_EQ(verdict(withNames(before, after, 10000)), "XML content has more than 10000 different names")
            << before;
    }
}

TEST_F(BoundsTest, refuses_a_longer_namespace_than_the_bound_before_it_costs_its_length_at_each_node) {
    const std::string tooLong = "XML content has a namespace longer than 1024 characters";
    const std::string longest(XercesHelper::MAX_XML_NAMESPACE_LENGTH, 'n');
    const std::string million(1000000, 'n');
    for (const std::string name : {"xmlns", "xmlns:p"}) {
        EXPECT_EQ(verdict("<a " + name + "='" + longest + "'/>"), "accepted") << name;
        EXPECT_EQ(verdict("<a " + name + "='" + longest + "n'/>"), tooLong) << name;
        EXPECT_EQ(verdict("<a><b/><b " + name + "='" + longest + "n'/></a>"), tooLong) << name;
    }
    EXPECT_EQ(verdict("<a xmlnsp='" + million + "' xmlns:p='n' p:xmlns='" + million + "'/>"), "accepted");
    for (const auto& [name, child] : {std::pair("xmlns", "<b/>"), std::pair("xmlns:p", "<b p:c=''/>")}) {
        RepeatingStream stream("<a " + std::string(name) + "='" + million + "'>", child, 400000, "</a>");
        EXPECT_EQ(verdict(stream), tooLong) << name;
    }
    loadSignatureSchemas();
    RepeatingStream validated(object_ + "<a xmlns='" + million + "'>", "<b/>", 400000, "</a></Object>");
    EXPECT_EQ(verdict(validated, true), tooLong);
}

TEST_F(BoundsTest, refuses_IDs_made_to_be_compared_with_each_other_and_takes_any_number_of_others) {
    loadSignatureSchemas();
    const auto objects = [&](const std::function<std::string(unsigned)>& idOf) {
        std::string text = object_;
        for (unsigned i = 0; i < 1U << 17; ++i) {
            text += "<Object Id='" + idOf(i) + "'/>";
        }
        return text + "</Object>";
    };
    EXPECT_EQ(verdict(objects([](unsigned i) { return "rId" + std::to_string(i * 100); }), true), "accepted");
    const std::string ofOneHash = objects([](unsigned i) {
        std::string id;
        for (unsigned bit = 0; bit < 17; ++bit) {
            id += (i >> bit & 1) != 0 ? "bT" : "az"; // a digit to the base 38 is carried
        }
        return id;
    });
    const std::string tooMany = "XML content has IDs that take more than 100000000 comparisons";
    EXPECT_EQ(verdict(ofOneHash, true), tooMany);
    EXPECT_EQ(verdict(objects([](unsigned i) { return "a" + std::to_string(i); }), true), "accepted")
        << "a refusal leaves no count behind";
}

TEST_F(BoundsTest, reads_up_to_64_MiB_and_no_byte_more) {
    const std::string root = "<a/>";
    RepeatingStream longest(root, " ", XercesHelper::MAX_XML_SIZE - root.size(), "");
    EXPECT_EQ(verdict(longest), "accepted");
    RepeatingStream tooLong(root, " ", XercesHelper::MAX_XML_SIZE - root.size() + 1, "");
    EXPECT_EQ(verdict(tooLong), "XML content is larger than 64 MiB");
    RepeatingStream endless("<a>", "x", 1ULL << 40, "");
    EXPECT_EQ(verdict(endless), "XML content is larger than 64 MiB");
}

TEST_F(BoundsTest, takes_time_linear_in_the_length_of_what_a_schema_checks) {
    loadEmbeddedSchema(*parser_, embedded::opc_contentTypes);
    const std::string head = "<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'><Default ";
    const std::vector<std::string> attributes = {
        "ContentType='a/b;c=&quot;" + std::string(1000000, ' ') + "' Extension='x'",
        "ContentType='a/b" + std::string(1000000, ' ') + "' Extension='x'",
        "ContentType='a/b' Extension='" + std::string(1000000, 'a') + "'",
        "ContentType='a/b' Extension='" + std::string(1000000, ':') + "/'",
    };
    for (const std::string& text : attributes) {
        const std::string result = verdict(head + text + "/></Types>", true); // quadratic, it takes an hour
        EXPECT_EQ(result == "accepted", text.find("/'") == std::string::npos) << result.substr(0, 80);
    }
}

/// Counts the bytes that Xerces holds.
class CountingMemory final : public xercesc::MemoryManager {
public:
    xercesc::MemoryManager* getExceptionMemoryManager() override { return this; }
    void* allocate(XMLSize_t size) override {
        void* block = ::operator new(size);
        sizes_[block] = size;
        held_ += size;
        return block;
    }
    void deallocate(void* block) override {
        if (block != nullptr) {
            held_ -= sizes_.at(block);
            sizes_.erase(block);
            ::operator delete(block);
        }
    }
    std::size_t held() const { return held_; }

private:
    std::map<void*, std::size_t> sizes_;
    std::size_t held_ = 0;
};

TEST(XmlMemoryTest, stays_level_over_many_documents_and_is_all_given_back_even_after_failures) {
    CountingMemory memory;
    xercesc::XMLPlatformUtils::Initialize("en_US", nullptr, nullptr, &memory);
    const std::vector<std::string> documents = {
        "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/relationships'>"
        "<Relationship Id='a' Type='t' Target='x'/><Relationship Id='b' Type='t' Target='y'/></Relationships>",
        "<Relationships "
        "xmlns='http://schemas.openxmlformats.org/package/2006/relationships'><Relationship/></Relationships>",
        "<Relationships",
        "<!DOCTYPE a><a/>",
    };
    {
        const auto parser = XercesHelper::createParser();
        loadEmbeddedSchema(*parser, embedded::opc_relationships);
        std::size_t early = 0;
        for (int i = 0; i < 1000; ++i) {
            for (const std::string& document : documents) {
                const auto bytes = toBytes(document);
                ByteArrayInAdaptor stream(bytes);
                verdictOf([&] { XercesHelper::readDocumentFromStream(*parser, stream, true, u"", u""); });
            }
            RepeatingStream deep("", "<a>", 1000, "");
            verdictOf([&] { XercesHelper::readDocumentFromStream(*parser, deep, false, u"", u""); });
            FailingStream failing("<a>", [] { throw opc::Exception("disk gone"); });
            EXPECT_THROW(XercesHelper::readDocumentFromStream(*parser, failing, false, u"", u""), opc::Exception);
            early = i == 99 ? memory.held() : early;
        }
        EXPECT_LT(memory.held(), early + 64 * 1024);
    }
    xercesc::XMLPlatformUtils::Terminate();
    EXPECT_EQ(memory.held(), 0U);
}

} // namespace
} // namespace opc::model::test
