// SPDX-License-Identifier: Apache-2.0
#include "Validators.hpp"

#include <boost/regex.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
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
    static const std::map<char, std::string> all = {
        {'_', "text"},
        {'F', FOREIGN},
        {'P', TIME},
        {'p', pds("SignatureTime")}, // declared, and not valid
        {'n', "<none xmlns=''/>"},
        {'u', ds("Unknown")},
        {'N', ds("KeyName")},
        {'S', ds("SignedInfo", METHODS + REFERENCE)},
        {'V', ds("SignatureValue")},
        {'K', ds("KeyInfo", ds("KeyName"))},
        {'O', ds("Object")},
        {'C', ds("CanonicalizationMethod", "", ALGORITHM)},
        {'M', ds("SignatureMethod", "", ALGORITHM)},
        {'H', ds("HMACOutputLength", "160")},
        {'R', REFERENCE},
        {'T', ds("Transforms", ds("Transform", "", ALGORITHM))},
        {'t', ds("Transform", "", ALGORITHM)},
        {'X', ds("XPath")},
        {'D', ds("DigestMethod", "", ALGORITHM)},
        {'d', ds("DigestValue")},
        {'o', ds("SignatureProperty", FOREIGN, "Target=''")},
        {'k', ds("KeyValue", FOREIGN)},
        {'r', ds("RetrievalMethod")},
        {'x', ds("X509Data", ds("X509SKI"))},
        {'g', ds("PGPData", ds("PGPKeyID"))},
        {'s', ds("SPKIData", ds("SPKISexp"))},
        {'m', ds("MgmtData")},
        {'a', ds("DSAKeyValue", ds("Y"))},
        {'b', ds("RSAKeyValue", ds("Modulus") + ds("Exponent"))},
        {'i', ds("X509IssuerSerial", ds("X509IssuerName", "n") + ds("X509SerialNumber", "12"))},
        {'j', ds("X509SKI")},
        {'l', ds("X509SubjectName")},
        {'c', ds("X509Certificate")},
        {'v', ds("X509CRL")},
        {'y', ds("X509IssuerName")},
        {'z', ds("X509SerialNumber", "1")},
        {'e', ds("PGPKeyID")},
        {'q', ds("PGPKeyPacket")},
        {'h', ds("SPKISexp")},
        {'1', ds("P")},
        {'2', ds("Q")},
        {'3', ds("G")},
        {'4', ds("Y")},
        {'5', ds("J")},
        {'6', ds("Seed")},
        {'7', ds("PgenCounter")},
        {'8', ds("Modulus")},
        {'9', ds("Exponent")},
        {'f', pds("Format", "YYYY")},
        {'w', pds("Value", "2026")},
    };
    return all.at(letter);
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
    {"ds:Signature", "", "SVK?O*", "SVKO", 3, "SVKO SVKOO SVOOO SVKKO SVOK SVKS SVSV"},
    {"ds:SignedInfo", "", "CMR+", "CMR", 3, "CMRR CMRRR CCMR CMMR CMRC CMRCMR"},
    {"ds:CanonicalizationMethod", "Algorithm=''", "[_PN]*", "PNFu", 2, "PNP"},
    {"ds:SignatureMethod", "Algorithm=''", "_*H?[_P]*", "HPF", 3, "HPPP"},
    {"ds:Reference", "", "T?Dd", "TDd", 3, "TDDd TTDd TDdd TDdT DdDd"},
    {"ds:Transforms", "", "t+", "tT", 3, "tttt"},
    {"ds:Transform", "Algorithm=''", "[_XFP]*", "XFP", 3, "XXFFPP"},
    {"ds:DigestMethod", "Algorithm=''", "[_FP]*", "FPX", 3, "FFPP"},
    {"ds:KeyInfo", "", "_*[NkrxgsmFP][_NkrxgsmFP]*", "NkrxgsmFO", 2, "NkrxgsmF mmmm _N_F_"},
    {"ds:KeyValue", "", "_*[abFP]_*", "abFP", 2, "_a_ _F_"},
    {"ds:RetrievalMethod", "", "T?", "Tt", 2, ""},
    {"ds:X509Data", "", "[ijlcvFP]+", "ijlcvF", 2, "ijlcvF ccccc FFFF"},
    {"ds:X509Data/ds:X509IssuerSerial", "", "yz", "yz", 4, ""},
    {"ds:PGPData", "", "eq?[FP]*|q[FP]*", "eqFP", 3, "eqFPFP eqFq qFPFP qp"},
    {"ds:SPKIData", "", "(h[FP]?)+", "hFP", 3, "hFhPhhF hFhF"},
    {"ds:Object", "", "[_FPNunR]*", "FPNunR", 2, "FPNun RRRR _R_"},
    {"ds:Manifest", "", "R+", "Rd", 3, "RRRR"},
    {"ds:SignatureProperties", "", "o+", "oO", 3, "oooo"},
    {"ds:SignatureProperty", "Target=''", "_*[FP][_FP]*", "FPo", 3, "FPFP"},
    {"ds:DSAKeyValue", "", "(12)?3?45?(67)?", "1234567", 2,
     "124 345 467 1234567 12467 1245 3467 4567 1234 12345 1124 1224 334 455 4667 4677 12124 46767 476 465 214 143"},
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
        const boost::regex content(model.content);
        const auto valid = std::find_if(tried.begin(), tried.end(), [&](const std::string& letters) {
            return boost::regex_match(letters, content);
        });
        const std::string shortest = *valid;
        for (const char letter : std::string("_FPpnuN"))
            tried.insert(tried.end(), {std::string(1, letter), letter + shortest, shortest + letter});
        for (const std::string& letters : tried)
            documents.push_back({boost::regex_match(letters, content),
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
        documents.push_back(
            {false, nested(name, "", "xsi:nil='true'" + (required.empty() ? "" : " " + required + "=''")), "no nil"});
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

enum class Text { Base64, Any, Integer };

/// An element that holds text alone, between others.
struct Slot {
    Text text;
    const char* parent; ///< empty when it stands by itself
    const char* before; ///< letters
    const char* element;
    const char* after;           ///< letters
    const char* attributes = ""; ///< of the parent
};

const Slot SLOTS[] = {
    {Text::Base64, "", "", "SignatureValue", ""},
    {Text::Base64, "", "", "DigestValue", ""},
    {Text::Base64, "ds:X509Data", "", "X509SKI", ""},
    {Text::Base64, "ds:X509Data", "", "X509Certificate", ""},
    {Text::Base64, "ds:X509Data", "", "X509CRL", ""},
    {Text::Base64, "ds:PGPData", "", "PGPKeyID", ""},
    {Text::Base64, "ds:PGPData", "", "PGPKeyPacket", ""},
    {Text::Base64, "ds:PGPData", "e", "PGPKeyPacket", ""},
    {Text::Base64, "ds:SPKIData", "", "SPKISexp", ""},
    {Text::Base64, "ds:DSAKeyValue", "", "P", "24"},
    {Text::Base64, "ds:DSAKeyValue", "1", "Q", "4"},
    {Text::Base64, "ds:DSAKeyValue", "", "G", "4"},
    {Text::Base64, "ds:DSAKeyValue", "", "Y", ""},
    {Text::Base64, "ds:DSAKeyValue", "4", "J", ""},
    {Text::Base64, "ds:DSAKeyValue", "4", "Seed", "7"},
    {Text::Base64, "ds:DSAKeyValue", "46", "PgenCounter", ""},
    {Text::Base64, "ds:RSAKeyValue", "", "Modulus", "9"},
    {Text::Base64, "ds:RSAKeyValue", "8", "Exponent", ""},
    {Text::Any, "", "", "KeyName", ""},
    {Text::Any, "", "", "MgmtData", ""},
    {Text::Any, "ds:X509Data", "", "X509SubjectName", ""},
    {Text::Any, "ds:X509Data/ds:X509IssuerSerial", "", "X509IssuerName", "z"},
    {Text::Any, "ds:Transform", "", "XPath", "", "Algorithm=''"},
    {Text::Integer, "ds:X509Data/ds:X509IssuerSerial", "y", "X509SerialNumber", ""},
    {Text::Integer, "ds:SignatureMethod", "", "HMACOutputLength", "", "Algorithm=''"},
};

std::vector<std::string> validTexts(Text text) {
    switch (text) {
    case Text::Base64:
        return {"", "AAEC", " AA EC\nAw== ", "+/09azAZ"};
    case Text::Any:
        return {"", " any text\n%zz "};
    case Text::Integer:
        return {"-12", "0", "+007", " 123456789012345678901234 "};
    }
    throw std::logic_error("no kind of text");
}

std::vector<std::string> invalidTexts(Text text) {
    switch (text) {
    case Text::Base64:
        return {"AAE", "AA=C", "AAEC=", "<b/>"};
    case Text::Any:
        return {"<b/>"};
    case Text::Integer:
        return {"", "1.0", "0x1", "1 2", "INF", "AA==", "<b/>"};
    }
    throw std::logic_error("no kind of text");
}

TEST(Verdicts, on_the_texts_in_a_signature) {
    std::vector<Document> documents = {
        {false, "<Signature/>", "no namespace"},
        {false, child('u'), "an unknown element"},
        {false, ds("SignatureValue", "AA!EC"), "another character", "libxml2 skips what is no character of base64"},
        {true, ds("X509Data", ds("X509IssuerSerial", child('y') + ds("X509SerialNumber", std::string(48, '9')))),
         "twenty bytes, the most that a certificate may have", "libxml2 knows no integer of more than 24 digits"},
        {true, ds("Object", "<x:y xmlns:x='urn:x'>" + ds("Manifest") + "</x:y>"), "invalid below what nobody declares",
         "such an element is neither valid nor invalid; libxml2 looks at what it holds all the same"},
    };
    for (const Slot& slot : SLOTS) {
        const std::string name = slot.element;
        const auto add = [&](bool valid, const std::string& text, const std::string& attributes = "") {
            const std::string element = ds(name, text, attributes);
            const std::string content = children(slot.before) + element + children(slot.after);
            const std::string parent = slot.parent;
            documents.push_back({valid, parent.empty() ? element : nested(parent, content, slot.attributes), name});
        };
        for (const std::string& text : validTexts(slot.text))
            add(true, text);
        for (const std::string& text : invalidTexts(slot.text))
            add(false, text);
        const std::string text = slot.text == Text::Integer ? "1" : "AAEC";
        add(false, text, "x='y'");
        add(false, "", "xsi:nil='true'");
        add(false, text, "xsi:type='xs:hexBinary'");
        add(slot.text == Text::Any, text, "xsi:type='xs:string'");
        add(slot.text == Text::Any, text, "xsi:type='xs:token'"); // derived, which nothing here blocks
    }
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
            for (const int number : {0,  1,  5,  9,  10, 11, 12, 13, 15, 19, 20, 21, 22, 23, 24, 25, 29,
                                     30, 31, 32, 35, 39, 40, 45, 49, 50, 55, 59, 60, 65, 75, 90, 99})
                add(number >= field.least && number <= field.most,
                    std::string(time).replace(field.position, 2, {char('0' + number / 10), char('0' + number % 10)}));
        for (const std::size_t position : {0U, 1U, 2U, 3U, 20U}) // the year, and the fraction
            if (position < 4 || time.size() > 25)
                for (const char digit : std::string("0159"))
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
