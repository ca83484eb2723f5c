// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "signatures/SignatureDocumentReader.hpp"
#include "signatures/SignatureFixture.hpp"
#include "support/OpenSSL.hpp"
#include "support/Throws.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>

#include <string>
#include <utility>
#include <vector>

namespace opc::model::test {

using opc::test::toBytes;

inline const std::string PART = "_xmlsignatures/sig1.xml";
inline const std::string DSIG = "http://www.w3.org/2000/09/xmldsig#";

using Edits = std::vector<std::pair<std::string, std::string>>;

inline std::string edited(std::string text, const Edits& edits) {
    for (const auto& [from, to] : edits) {
        const std::size_t found = text.find(from);
        if (found == std::string::npos)
            throw std::runtime_error("there is no \"" + from + "\" in " + text);
        text.replace(found, from.size(), to);
    }
    return text;
}

/// The first element of a name that has an end tag, with all that it holds.
inline std::string elementOf(const std::string& text, const std::string& name) {
    const std::string end = "</" + name + '>';
    const std::size_t start = text.find('<' + name);
    return text.substr(start, text.find(end, start) + end.size() - start);
}

inline DigitalSignatureData read(const std::string& text, std::ostream& trace) {
    SignatureDocumentReader reader;
    const Bytes bytes = toBytes(text);
    ByteArrayInAdaptor stream(bytes);
    return reader.read(stream, trace);
}

inline DigitalSignatureData read(const std::string& text) {
    std::ostream nowhere(nullptr);
    return read(text, nowhere);
}

/// Without the schemas.
inline DigitalSignatureData readUnvalidated(const std::string& text) {
    std::ostream nowhere(nullptr);
    const XercesGuard guard;
    const ParserHandle parser = XercesHelper::createParser();
    const Bytes bytes = toBytes(text);
    ByteArrayInAdaptor stream(bytes);
    return SignatureDocumentReader::readDocument(
        *parser, *XercesHelper::readDocumentFromStream(*parser, stream, false, u"", u""), nowhere);
}

/// A signature of a part and of relationships by Id and by type, as it is stored.
class StoredSignature : public WithClock {
protected:
    StoredSignature() : items_(sign()), good_(items_[PART]) {}

    static Bytes sign() {
        return changed(letter().toZip(), [](Opened& opened) {
            const URI source(u"/word/document.xml");
            opened.manager.sign({PartName(source)},
                                {{source, RelationshipSelectorType::ById, u"rId1"},
                                 {source, RelationshipSelectorType::ByType, u"urn:link"}},
                                fixedKey(), params1024);
        });
    }

    std::string of(const std::string& name) const { return elementOf(good_, name); }
    std::string manifestReference() const { return elementOf(of("Manifest"), "Reference"); }

    std::string verdictWith(const std::string& part) const {
        Items items = items_;
        items[PART] = part;
        return verdictOn(items.toZip(0));
    }

    Items items_;
    const std::string good_;
};

enum class Seen {
    ByReader, ///< by `read`, and without the schemas
    Behind,   ///< the schemas, which refuse it in words of their own
};

struct Fault {
    std::string message;
    Edits edits;
    std::string why;
    Seen seen = Seen::ByReader;
};

inline void expectRefused(const std::string& good, const Fault& fault) {
    SCOPED_TRACE(fault.message + "; " + fault.why);
    const std::string text = edited(good, fault.edits);
    EXPECT_TRUE(opc::test::throws<InvalidPartContent>(fault.message, [&] { readUnvalidated(text); }));
    if (fault.seen == Seen::ByReader) {
        EXPECT_TRUE(opc::test::throws<InvalidPartContent>(fault.message, [&] { read(text); }));
        return;
    }
    try {
        read(text);
        ADD_FAILURE() << "was read";
    } catch (const InvalidPartContent& e) {
        EXPECT_NE(e.what(), fault.message) << "not behind the schemas";
    }
}

} // namespace opc::model::test
