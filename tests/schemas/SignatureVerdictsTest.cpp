// SPDX-License-Identifier: Apache-2.0
#include "Validators.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace opc::model::test {
namespace {

/// An element of XML-DSig, and one of those that a package adds.
std::string ds(const std::string& name, const std::string& content = "", const std::string& attributes = "") {
    return tag("ds:" + name, content, attributes);
}

std::string pds(const std::string& name, const std::string& content = "", const std::string& attributes = "") {
    return tag("pds:" + name, content, attributes);
}

/// The last element of a path such as "ds:X509Data/ds:X509SKI", in the others.
std::string nested(const std::string& path, const std::string& content = "", const std::string& attributes = "") {
    const auto slash = path.find('/');
    return slash == std::string::npos ? tag(path, content, attributes)
                                      : tag(path.substr(0, slash), nested(path.substr(slash + 1), content, attributes));
}

const std::string ALGORITHM = "Algorithm='http://a'";
const std::string FOREIGN = "<x:y xmlns:x='urn:x' z='w'>text<x:v/></x:y>";
const std::string TIME = pds("SignatureTime", pds("Format", "YYYY") + pds("Value", "2026"));
const std::string DIGEST = ds("DigestMethod", "", ALGORITHM) + ds("DigestValue", "AAEC");
const std::string REFERENCE = ds("Reference", DIGEST);
const std::string METHODS = ds("CanonicalizationMethod", "", ALGORITHM) + ds("SignatureMethod", "", ALGORITHM);

/// What may stand in an element of a signature, one letter each.
std::string child(char letter) {
    const std::string serial = ds("X509IssuerName", "n") + ds("X509SerialNumber", "12");
    switch (letter) {
    case '_':
        return "text";
    case 'F':
        return FOREIGN;
    case 'P':
        return TIME;
    case 'p':
        return pds("SignatureTime"); // declared, and not valid
    case 'n':
        return "<none xmlns=''/>";
    case 'u':
        return ds("Unknown");
    case 'N':
        return ds("KeyName");
    case 'S':
        return ds("SignedInfo", METHODS + REFERENCE);
    case 'V':
        return ds("SignatureValue");
    case 'K':
        return ds("KeyInfo", ds("KeyName"));
    case 'O':
        return ds("Object");
    case 'C':
        return ds("CanonicalizationMethod", "", ALGORITHM);
    case 'M':
        return ds("SignatureMethod", "", ALGORITHM);
    case 'H':
        return ds("HMACOutputLength", "160");
    case 'R':
        return REFERENCE;
    case 'T':
        return ds("Transforms", ds("Transform", "", ALGORITHM));
    case 't':
        return ds("Transform", "", ALGORITHM);
    case 'X':
        return ds("XPath");
    case 'D':
        return ds("DigestMethod", "", ALGORITHM);
    case 'd':
        return ds("DigestValue");
    case 'o':
        return ds("SignatureProperty", FOREIGN, "Target=''");
    case 'k':
        return ds("KeyValue", FOREIGN);
    case 'r':
        return ds("RetrievalMethod");
    case 'x':
        return ds("X509Data", ds("X509SKI"));
    case 'g':
        return ds("PGPData", ds("PGPKeyID"));
    case 's':
        return ds("SPKIData", ds("SPKISexp"));
    case 'm':
        return ds("MgmtData");
    case 'a':
        return ds("DSAKeyValue", ds("Y"));
    case 'b':
        return ds("RSAKeyValue", ds("Modulus") + ds("Exponent"));
    case 'i':
        return ds("X509IssuerSerial", serial);
    case 'j':
        return ds("X509SKI");
    case 'l':
        return ds("X509SubjectName");
    case 'c':
        return ds("X509Certificate");
    case 'v':
        return ds("X509CRL");
    case 'y':
        return ds("X509IssuerName");
    case 'z':
        return ds("X509SerialNumber", "1");
    case 'e':
        return ds("PGPKeyID");
    case 'q':
        return ds("PGPKeyPacket");
    case 'h':
        return ds("SPKISexp");
    case '1':
        return ds("P");
    case '2':
        return ds("Q");
    case '3':
        return ds("G");
    case '4':
        return ds("Y");
    case '5':
        return ds("J");
    case '6':
        return ds("Seed");
    case '7':
        return ds("PgenCounter");
    case '8':
        return ds("Modulus");
    case '9':
        return ds("Exponent");
    case 'f':
        return pds("Format", "YYYY");
    case 'w':
        return pds("Value", "2026");
    }
    throw std::logic_error(std::string("no child of the letter ") + letter);
}

std::string children(const std::string& letters) {
    std::string result;
    for (const char letter : letters)
        result += child(letter);
    return result;
}

struct Model {
    const char* element;
    const char* attributes; ///< those that it needs
    const char* content;    ///< what the standard lets stand in it, as an expression over the letters
    const char* letters;    ///< of which every sequence is tried
    std::size_t length;     ///< up to this
    const char* more;       ///< longer sequences that are tried, too
};

/// XML-DSig section 4 and ECMA-376-2, digital signature markup. Text is allowed where an underscore is, declared
/// elements that are not valid nowhere.
const Model MODELS[] = {
    {"ds:Signature", "", "SVK?O*", "SVKO", 4, "SVKOO SVOOO SVKKO SVOK"},
    {"ds:SignedInfo", "", "CMR+", "CMR", 5, ""},
    {"ds:CanonicalizationMethod", "Algorithm=''", "[_PN]*", "PNFu", 3, ""},
    {"ds:SignatureMethod", "Algorithm=''", "_*H?[_P]*", "HPF", 4, ""},
    {"ds:Reference", "", "T?Dd", "TDd", 4, ""},
    {"ds:Transforms", "", "t+", "tT", 4, ""},
    {"ds:Transform", "Algorithm=''", "[_XFP]*", "XFP", 4, ""},
    {"ds:DigestMethod", "Algorithm=''", "[_FP]*", "FPX", 4, ""},
    {"ds:KeyInfo", "", "_*[NkrxgsmFP][_NkrxgsmFP]*", "NkrxgsmFO", 2, "NkrxgsmF mmmm _N_F_"},
    {"ds:KeyValue", "", "_*[abFP]_*", "abFP", 3, "_a_ _F_"},
    {"ds:RetrievalMethod", "", "T?", "Tt", 3, ""},
    {"ds:X509Data", "", "[ijlcvFP]+", "ijlcvF", 2, "ijlcvF ccccc FFFF"},
    {"ds:X509Data/ds:X509IssuerSerial", "", "yz", "yz", 4, ""},
    {"ds:PGPData", "", "eq?[FP]*|q[FP]*", "eqFP", 4, "eqFPFP"},
    {"ds:SPKIData", "", "(h[FP]?)+", "hFP", 5, "hFhPhhF"},
    {"ds:Object", "", "[_FPNunR]*", "FPNunR", 2, "FPNun RRRR _R_"},
    {"ds:Manifest", "", "R+", "Rd", 4, ""},
    {"ds:SignatureProperties", "", "o+", "oO", 4, ""},
    {"ds:SignatureProperty", "Target=''", "_*[FP][_FP]*", "FPo", 4, ""},
    {"ds:DSAKeyValue", "", "(12)?3?45?(67)?", "1234567", 3,
     "1234567 12467 1245 3467 4567 124 1234 12345 1124 1224 3344 4455 4667 4677 12124 46767 4765 4675 2134 1243"},
    {"ds:RSAKeyValue", "", "89", "89", 4, ""},
    {"pds:SignatureTime", "", "fw", "fw", 4, ""},
};

/// Every sequence of the letters up to the length.
std::vector<std::string> sequences(const std::string& letters, std::size_t length) {
    std::vector<std::string> all = {""};
    for (std::size_t start = 0; start < all.size() && all[start].size() < length; ++start)
        for (const char letter : letters)
            all.push_back(all[start] + letter);
    return all;
}

TEST(Verdicts, on_what_stands_in_every_element_of_a_signature) {
    std::vector<Document> documents;
    for (const Model& model : MODELS) {
        auto tried = sequences(model.letters, model.length);
        std::istringstream more(model.more);
        tried.insert(tried.end(), std::istream_iterator<std::string>(more), {});
        const std::regex content(model.content);
        const auto valid = std::find_if(tried.begin(), tried.end(),
                                        [&](const std::string& letters) { return std::regex_match(letters, content); });
        const std::string shortest = *valid;
        for (const char letter : std::string("_FPpnuN"))
            tried.insert(tried.end(), {letter + shortest, shortest + letter});
        for (const std::string& letters : tried)
            documents.push_back({std::regex_match(letters, content),
                                 nested(model.element, children(letters), model.attributes),
                                 model.element + (": " + letters)});
    }
    expectVerdicts(signatureSchemas(), documents);
}

struct Attributes {
    const char* element;
    const char* required; ///< the one that it needs, if any
    const char* content;  ///< the letters of what is valid in it
    bool hasId;
    std::vector<std::string> uris;
    std::vector<std::string> texts;
};

const std::vector<Attributes>& attributesOfElements() {
    static const std::vector<Attributes> all = {
        {"ds:Signature", "", "SV", true, {}, {}},
        {"ds:SignatureValue", "", "", true, {}, {}},
        {"ds:SignedInfo", "", "CMR", true, {}, {}},
        {"ds:CanonicalizationMethod", "Algorithm", "", false, {"Algorithm"}, {}},
        {"ds:SignatureMethod", "Algorithm", "", false, {"Algorithm"}, {}},
        {"ds:Reference", "", "Dd", true, {"URI", "Type"}, {}},
        {"ds:Transforms", "", "t", false, {}, {}},
        {"ds:Transform", "Algorithm", "", false, {"Algorithm"}, {}},
        {"ds:DigestMethod", "Algorithm", "", false, {"Algorithm"}, {}},
        {"ds:DigestValue", "", "", false, {}, {}},
        {"ds:KeyInfo", "", "N", true, {}, {}},
        {"ds:KeyName", "", "", false, {}, {}},
        {"ds:MgmtData", "", "", false, {}, {}},
        {"ds:KeyValue", "", "F", false, {}, {}},
        {"ds:RetrievalMethod", "", "", false, {"URI", "Type"}, {}},
        {"ds:X509Data", "", "j", false, {}, {}},
        {"ds:X509Data/ds:X509IssuerSerial", "", "yz", false, {}, {}},
        {"ds:PGPData", "", "e", false, {}, {}},
        {"ds:SPKIData", "", "h", false, {}, {}},
        {"ds:Object", "", "", true, {"Encoding"}, {"MimeType"}},
        {"ds:Manifest", "", "R", true, {}, {}},
        {"ds:SignatureProperties", "", "o", true, {}, {}},
        {"ds:SignatureProperty", "Target", "F", true, {"Target"}, {}},
        {"ds:DSAKeyValue", "", "4", false, {}, {}},
        {"ds:RSAKeyValue", "", "89", false, {}, {}},
        {"pds:SignatureTime", "", "fw", false, {}, {}},
        {"pds:RelationshipReference", "SourceId", "_", false, {}, {"SourceId"}},
        {"pds:RelationshipsGroupReference", "SourceType", "_", false, {"SourceType"}, {}},
    };
    return all;
}

TEST(Verdicts, on_the_attributes_of_every_element_of_a_signature) {
    std::vector<Document> documents;
    for (const Attributes& row : attributesOfElements()) {
        const std::string name = row.element;
        const std::string required = row.required;
        const auto with = [&](const std::string& attribute, const std::string& value) {
            const std::string rest = required.empty() || required == attribute ? "" : required + "=''";
            return nested(name, children(row.content), attribute + "='" + value + "' " + rest);
        };
        documents.push_back({required.empty(), nested(name, children(row.content)), name + " without attributes"});
        documents.push_back({false, with("Other", "o"), "an unknown attribute of " + name});
        documents.push_back({false, with("ds:Id", "o"), "a qualified attribute of " + name});
        documents.push_back({false, with("xml:lang", "en"), "a language of " + name});
        documents.push_back({false, with("xsi:nil", "true"), name + " is not nillable"});
        documents.push_back({row.hasId, with("Id", " i-1.x "), "an Id of " + name});
        documents.push_back({false, with("Id", "1"), "an Id of " + name + " that is none"});
        documents.push_back({false, ds("Object", with("Id", "i"), "Id='i'"), "an Id twice, of " + name});
        for (const std::string& text : row.texts)
            documents.push_back({true, with(text, " any %zz text"), text + " of " + name});
        for (const std::string& uri : row.uris) {
            documents.push_back({true, with(uri, ""), uri + " of " + name + " empty"});
            documents.push_back({true, with(uri, "/a b.xml?ContentType=b/c#d"), uri + " of " + name});
            documents.push_back({false, with(uri, "%zz"), uri + " of " + name + " that is none"});
        }
    }
    expectVerdicts(signatureSchemas(), documents);
}

TEST(Verdicts, on_the_texts_in_a_signature) {
    std::vector<Document> documents = {
        {true, ds("SignatureValue", " AA EC\nAw== "), "base64 with white space"},
        {true, ds("SignatureValue"), "nothing"},
        {false, ds("SignatureValue", "AA=C"), "text behind the end"},
        {false, ds("SignatureValue", "AA!EC"), "another character", "libxml2 skips what is no character of base64"},
        {false, "<Signature/>", "no namespace"},
        {false, child('u'), "an unknown element"},
        {false, ds("SignatureValue", "<ds:KeyName/>"), "an element in a text"},
        {true, ds("Object", "<x:y xmlns:x='urn:x'>" + ds("Manifest") + "</x:y>"), "invalid below what nobody declares",
         "such an element is neither valid nor invalid; libxml2 looks at what it holds all the same"},
        {true, ds("X509Data", ds("X509IssuerSerial", child('y') + ds("X509SerialNumber", std::string(48, '9')))),
         "twenty bytes, the most that a certificate may have", "libxml2 knows no integer of more than 24 digits"},
    };
    for (const char* path : {"ds:SignatureValue", "ds:DigestValue", "ds:X509Data/ds:X509SKI",
                             "ds:X509Data/ds:X509Certificate", "ds:X509Data/ds:X509CRL", "ds:PGPData/ds:PGPKeyID",
                             "ds:PGPData/ds:PGPKeyPacket", "ds:SPKIData/ds:SPKISexp"}) {
        documents.push_back({true, nested(path, " AAEC "), path});
        documents.push_back({false, nested(path, "AAE"), std::string(path) + " that is no base64"});
        documents.push_back({false, nested(path, "<b/>"), std::string("an element in ") + path});
        documents.push_back({false, nested(path, "AAEC", "x='y'"), std::string("an attribute of ") + path});
    }
    for (const char* path : {"ds:KeyName", "ds:MgmtData", "ds:X509Data/ds:X509SubjectName"}) {
        documents.push_back({true, nested(path, " any text\n%zz"), path});
        documents.push_back({false, nested(path, "<b/>"), std::string("an element in ") + path});
        documents.push_back({true, nested(path, "", "xsi:type='xs:string'"), std::string("the type of ") + path});
        documents.push_back(
            {true, nested(path, "", "xsi:type='xs:token'"), std::string("a type derived from it, ") + path});
        documents.push_back({false, nested(path, "", "xsi:type='xs:int'"), std::string("another type, ") + path});
    }
    const std::string keys[] = {children("89"), children("1234567"), children("eq")};
    for (const std::string& key : keys)
        for (auto at = key.find("></"); at != std::string::npos; at = key.find("></", at + 1))
            for (const std::string text : {"AAEC", "AAE"})
                documents.push_back({text == "AAEC",
                                     ds(&key == keys       ? "RSAKeyValue"
                                        : &key == keys + 1 ? "DSAKeyValue"
                                                           : "PGPData",
                                        std::string(key).insert(at + 1, text)),
                                     text});
    const auto texts = [&](bool valid, const std::string& before, const std::vector<std::string>& all,
                           const std::string& after, const std::string& element) {
        for (const std::string& text : all)
            documents.push_back(
                {valid, nested(element, before + text + after, element == "ds:X509Data" ? "" : ALGORITHM), text});
    };
    const std::vector<std::string> integers = {"-12", "0", "+007", " 123456789012345678901234 "};
    const std::vector<std::string> others = {"", "1.0", "0x1", "1 2", "INF", "AA==", "<b/>"};
    const std::string serial = "<ds:X509IssuerSerial>" + child('y') + "<ds:X509SerialNumber>";
    texts(true, serial, integers, "</ds:X509SerialNumber></ds:X509IssuerSerial>", "ds:X509Data");
    texts(false, serial, others, "</ds:X509SerialNumber></ds:X509IssuerSerial>", "ds:X509Data");
    texts(true, "<ds:HMACOutputLength>", integers, "</ds:HMACOutputLength>", "ds:SignatureMethod");
    texts(false, "<ds:HMACOutputLength>", others, "</ds:HMACOutputLength>", "ds:SignatureMethod");
    texts(true, "<ds:XPath xsi:type='xs:string'>", {"", " any text\n"}, "</ds:XPath>", "ds:Transform");
    texts(false, "<ds:XPath>", {"<b/>"}, "</ds:XPath>", "ds:Transform");
    const std::string name = "<ds:X509IssuerSerial><ds:X509IssuerName xsi:type='xs:string'>";
    texts(true, name, {"", " any text\n"}, "</ds:X509IssuerName>" + child('z') + "</ds:X509IssuerSerial>",
          "ds:X509Data");
    texts(false, name, {"<b/>"}, "</ds:X509IssuerName>" + child('z') + "</ds:X509IssuerSerial>", "ds:X509Data");
    for (const char letter : std::string("HXijlcvyzeqh123456789fw"))
        documents.push_back({false, child(letter), "a local element by itself"});
    expectVerdicts(signatureSchemas(), documents);
}

std::string signatureTime(const std::string& format, const std::string& value) {
    return pds("SignatureTime", pds("Format", format) + pds("Value", value));
}

TEST(Verdicts, on_formats_of_a_signature_time) {
    std::vector<Document> documents = {
        {false, signatureTime("", "2026"), "nothing"},
        {false, pds("SignatureTime", pds("Format", "YYYY", "x='y'") + child('w')), "an attribute"},
        {false, pds("SignatureTime", pds("Format", "<b/>") + child('w')), "an element"},
        {false, pds("SignatureTime", pds("Format", "YYYY", "xsi:type='xs:string'") + child('w')), "another type"},
    };
    for (const std::string format : {"YYYY", "YYYY-MM", "YYYY-MM-DD", "YYYY-MM-DDThh:mmTZD", "YYYY-MM-DDThh:mm:ssTZD",
                                     "YYYY-MM-DDThh:mm:ss.sTZD"}) {
        documents.push_back({true, signatureTime(format, "2026"), format});
        documents.push_back({false, signatureTime(format + " ", "2026"), format + " and a space"});
        for (std::size_t i = 0; i < format.size(); ++i) {
            documents.push_back({false, signatureTime(std::string(format).erase(i, 1), "2026"), "a character short"});
            // The dot of the published pattern stands for any character.
            documents.push_back(
                {format[i] == '.', signatureTime(std::string(format).replace(i, 1, "x"), "2026"), "another character"});
        }
    }
    expectVerdicts(signatureSchemas(), documents);
}

/// A number of two digits in a time.
struct Field {
    std::size_t position;
    int least;
    int most;
};

/// Those of a time that has a zone when it has hours.
std::vector<Field> fieldsOf(const std::string& time) {
    std::vector<Field> fields;
    const std::size_t zone = time.size() > 10 ? time.size() - 6 : time.size(); // such as +13:45
    for (const Field field : {Field{5, 1, 12}, Field{8, 1, 31}, Field{11, 0, 23}, Field{14, 0, 59}, Field{17, 0, 59}})
        if (field.position < zone)
            fields.push_back(field);
    if (zone < time.size())
        fields.insert(fields.end(), {Field{zone + 1, 0, 23}, Field{zone + 4, 0, 59}});
    return fields;
}

TEST(Verdicts, on_values_of_a_signature_time) {
    std::vector<Document> documents = {
        {false, signatureTime("YYYY", ""), "nothing"},
        {false, pds("SignatureTime", child('f') + pds("Value", "2026", "x='y'")), "an attribute"},
        {false, pds("SignatureTime", child('f') + pds("Value", "<b/>")), "an element"},
        {false, pds("SignatureTime", child('f') + pds("Value", "2026", "xsi:type='xs:string'")), "another type"},
        {true, signatureTime("YYYY", "2026-02-31"), "the days of a month are not counted"},
    };
    const auto add = [&](bool valid, const std::string& time) {
        documents.push_back({valid, signatureTime("YYYY", time), time});
    };
    for (const std::string time : {"2026-11-21T14:25Z", "2026-11-21T14:25:36Z", "2026-11-21T14:25:36.7Z"})
        add(true, time);
    for (const std::string time : {"2026", "2026-11", "2026-11-21", "2026-11-21T14:25+13:45",
                                   "2026-11-21T14:25:36-13:45", "2026-11-21T14:25:36.7+13:45"}) {
        for (const Field& field : fieldsOf(time))
            for (int number = 0; number < 100; ++number)
                add(number >= field.least && number <= field.most,
                    std::string(time).replace(field.position, 2, {char('0' + number / 10), char('0' + number % 10)}));
        for (const std::size_t position : {0U, 1U, 2U, 3U, 20U}) // the year, and the fraction
            if (position < 4 || time.size() > 25)
                for (const char digit : std::string("0123456789"))
                    add(true, std::string(time).replace(position, 1, {digit}));
        for (std::size_t i = 0; i < time.size(); ++i) {
            const bool digit = time[i] >= '0' && time[i] <= '9';
            const bool sign = i > 15 && (time[i] == '+' || time[i] == '-');
            for (const char other : std::string(digit ? "x" : "+-:.TZ 1"))
                add(other == time[i] || (sign && (other == '+' || other == '-')),
                    std::string(time).replace(i, 1, {other}));
            add(false, std::string(time).erase(i, 1));
        }
        for (const char other : std::string("0+-:.TZ "))
            add(false, time + other);
    }
    expectVerdicts(signatureSchemas(), documents);
}

} // namespace
} // namespace opc::model::test
