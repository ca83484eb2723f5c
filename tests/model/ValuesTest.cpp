// SPDX-License-Identifier: Apache-2.0
#include <opc/core/PartNames.hpp>
#include <opc/errors/ErrorKind.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/relationships/RelationshipSelector.hpp>

#include "errors/ErrorPlaces.hpp"
#include "model/ModelFixture.hpp"

#include <boost/regex.hpp>

#include <set>
#include <system_error>

namespace opc::model {
namespace {

using namespace test;

constexpr auto ById = RelationshipSelectorType::ById;

/// Each class derives from `opc::Exception` alone: no group of them can be caught but all.
template <class... Errors>
struct Family {
    template <class Error>
    static constexpr int bases = (0 + ... + std::is_base_of_v<Errors, Error>);
    static constexpr bool isFlat = ((std::is_base_of_v<Exception, Errors> && bases<Errors> == 1) && ...);
    static constexpr int withoutCode = (0 + ... + std::is_constructible_v<Errors, std::string>);

    template <class Error>
    static ErrorKind kindOf() {
        if constexpr (std::is_constructible_v<Error, std::string>)
            return errorKind(Error(""));
        else
            return errorKind(Error("", boost::system::errc::make_error_code(boost::system::errc::not_a_directory)));
    }
    static std::set<ErrorKind> kinds() { return {kindOf<Errors>()...}; }
};

using AllErrors =
    Family<InvalidURI, InvalidPartName, InvalidContentType, InvalidContentTypeParameter, ContentTypeParameterNotFound,
           ContentTypeNotFound, InvalidContentTypeStream, PartNotFound, PartAlreadyExists,
           PartIsDerivedFromExistingPartName, PartHasRelationshipName, PartCreateFailed, PartDeleteFailed,
           InconsistentPackage, InvalidCorePropertiesRelationships, PackageReadOnly, PackageCreateOnly, PackageNotOpen,
           PackageAlreadyOpen, PackageNotFound, PackagePermissionDenied, InvalidPartStream, InvalidObject,
           RelationshipNotFound, RelationshipAlreadyExists, InvalidRelationshipID, InvalidRelationshipType,
           InvalidRelationshipTarget, InvalidRelationshipContent, InvalidXMLDocument, InvalidXMLSchema,
           InvalidPartContent, UnsupportedResolve, UnsupportedRelativize, CouldNotGenerateSignature,
           CouldNotRemoveSignature, SignatureNotFound, InvalidSignature, NotImplemented, PackageOpenFailed,
           PackageCloseFailed>;

static_assert(AllErrors::isFlat && AllErrors::withoutCode == 39, "the last two carry a code");

TEST(ErrorKinds, AreOneForEachClassAndOtherwiseThatOfTheCode) {
    const std::set<ErrorKind> kinds = AllErrors::kinds();
    EXPECT_EQ(kinds.size(), 41U);
    for (const ErrorKind kind : kinds)
        EXPECT_STRNE(toString(kind), "Other");
    using namespace boost::system::errc;
    EXPECT_EQ(errorKind(PackageOpenFailed("", make_error_code(file_too_large))), ErrorKind::LimitExceeded);
    EXPECT_EQ(errorKind(Exception("", make_error_code(not_a_directory))), ErrorKind::SystemError);
    EXPECT_EQ(errorKind(Exception("")), ErrorKind::Other);
    EXPECT_EQ(errorKind(std::system_error(std::make_error_code(std::errc::permission_denied))),
              ErrorKind::PermissionDenied);
    EXPECT_EQ(errorKind(std::bad_alloc()), ErrorKind::OutOfMemory);
}

TEST(ErrorPlaces, KeepTheItemThatTheyHave) {
    Exception error("wrong");
    EXPECT_EQ(placeInItem(error, "/a")->item + placeInItem(error, "/a")->reason, "/awrong");
    error.setPlace(placeInItem(error, "/a"));
    EXPECT_EQ(placeInItem(Exception(error), "/b")->item, "/a");
}

std::string componentsOf(const URI& uri) {
    const std::pair<bool, std::u16string> components[] = {{uri.hasScheme() && uri.isAbsolute(), uri.getScheme()},
                                                          {uri.hasAuthority(), uri.getAuthority()},
                                                          {uri.hasAbsolutePath(), uri.getPath()},
                                                          {uri.hasQuery(), uri.getQuery()},
                                                          {uri.hasFragment(), uri.getFragment()},
                                                          {uri.isOpaque(), uri.getSchemeSpecificPart()}};
    std::string text;
    for (const auto& [has, component] : components)
        text += (text.empty() ? "" : " ") + toASCIIString(component) + (has ? '+' : '-');
    return text;
}

std::u16string normalized(const std::u16string& text) {
    const ContentType type(text);
    EXPECT_EQ(ContentType(type.toString()).toString(), type.toString());
    return type.getType() + u' ' + type.getSubType() + u' ' + type.toString();
}

std::u16string converted(const std::u16string& target) {
    const Relationship relationship(u"id", u"type", URI(u"/"), target);
    EXPECT_EQ(relationship.getTarget(), target);
    EXPECT_EQ(relationship.getTargetMode(), TargetMode::External);
    EXPECT_EQ(relationship.getTargetURI(), relationship.getTargetURI());
    return relationship.getTargetURI().toString();
}

TEST(Values, AnswerAsTheirTablesSay) {
    using Text = std::u16string;
    const std::map<std::string, std::function<Text(const Text&, const Text&)>> calls = {
        {"URI", [](auto& a, auto&) { return toString(componentsOf(URI(a))); }},
        {"encodeComponent", [](auto& a, auto& b) { return URI::encodeComponent(a, toASCIIString(b)); }},
        {"encodeIRI", [](auto& a, auto&) { return URI::encodeIRI(a); }},
        {"percentEncode", [](auto& a, auto& b) { return URI::percentEncode(a, toASCIIString(b)); }},
        {"resolve", [](auto& a, auto& b) { return resolve(URI(a), URI(b)).toString(); }},
        {"relativize", [](auto& a, auto& b) { return relativize(URI(a), URI(b)).toString(); }},
        {"getExtension", [](auto& a, auto&) { return PartName(a).getExtension(); }},
        {"getRelationshipPartName", [](auto& a, auto&) { return PartName(a).getRelationshipPartName(); }},
        {"getSourcePartName", [](auto& a, auto&) { return PartName(a).getSourcePartName(); }},
        {"ContentType", [](auto& a, auto&) { return normalized(a); }},
        {"external", [](auto& a, auto&) { return converted(a); }},
        {"select", [](auto& a, auto& b) { return RelationshipSelector(URI(a), ById, b), Text(); }}};
    for (const auto& row : readTable("model/values.tsv")) {
        Text answer;
        const std::string thrown =
            thrownBy([&] { answer = calls.at(row[1])(toString(row[2]), toString(row.size() > 3 ? row[3] : "")); });
        EXPECT_EQ(thrown == "nothing" ? toASCIIString(answer) : thrown, row[0]) << row[1] << " of " << row[2];
    }
    const char16_t* const null = nullptr;
    EXPECT_EQ(URI(null).toString(), u"");
    expectAllThrow("InvalidPartName: A part name shall not be empty [M1.1]", {[&] { PartName name(null); }});
    expectAllThrow("InvalidContentType: Could not successfully parse content type string",
                   {[&] { ContentType type(null); }});
    expectAllThrow("InvalidURI: Could not successfully parse URI string.", // one message, whatever the reason
                   {[] { URI(std::u16string(u"/a\0b", 4)); }, [] { URI(std::u16string(1, u'\xD800')); }});
    EXPECT_EQ(URI::percentEncode(std::u16string(1, u'\0'), "a"), u"%00");
    EXPECT_THROW(URI::encodeIRI(std::u16string(1, u'\xDC00')), opc::Exception);
    for (const bool ignored : {false, true})
        EXPECT_EQ(PartName(u"a//b.", ignored).toString(), u"a//b.") << "unchecked, whatever the flag";
}

template <class A, class B>
std::string orderOf(const A& a, const B& b) {
    EXPECT_EQ(a != b, !(a == b));
    EXPECT_TRUE(!(a == b) || !(a < b));
    return a == b ? "=" : a < b ? "<" : ">";
}

TEST(Values, CompareTheirTextsWithASCIILettersFolded) {
    const std::tuple<const char16_t*, const char*, const char16_t*> rows[] = {
        {u"/A.xml", "=", u"/a.XML"}, {u"/_RELS/a.RELS", "=", u"/_rels/A.rels"},
        {u"/a.xml", "<", u"/B.xml"}, {u"/C", ">", u"/b"},
        {u"/a", "<", u"/a/b"},       {u"/a:b", ">", u"/a%3Ab"}};
    for (const auto& [a, order, b] : rows) {
        EXPECT_EQ(orderOf(URI(a), URI(b)), order);
        EXPECT_EQ(orderOf(PartName(a), PartName(b)), order);
        EXPECT_EQ(orderOf(URI(a), std::u16string(b)), order);
        EXPECT_EQ(orderOf(std::u16string(a), URI(b)), order);
        EXPECT_EQ(orderOf(PartName(a), std::u16string(b)), order);
        EXPECT_EQ(orderOf(std::u16string(a), PartName(b)), order);
        EXPECT_EQ(PartName(a) == b, *order == '=') << "a literal";
        EXPECT_EQ(URI(a) != b, *order != '=') << "a literal";
    }
    EXPECT_EQ(orderOf(ContentType(u"A/b;x=1;y=D"), ContentType(u"a/B ; Y=d; X=1")), "=");
    EXPECT_EQ(orderOf(ContentType(u"A/b"), ContentType(u"a/C")), "<");
}

std::string verdictOn(const std::u16string& text) {
    std::string verdict;
    const std::string thrown = thrownBy([&] {
        const PartName name(text);
        EXPECT_EQ(name.toString(), text);
        verdict = PartName::isPackageRootUri(URI(text)) ? "root" : "valid";
        if (name.isRelationshipName())
            verdict = "source " + toASCIIString(name.getSourcePartName());
    });
    return thrown == "nothing" ? verdict : thrown;
}

TEST(PartName, FollowsTheRulesAndSaysWhichIsTheFirstThatIsBroken) {
    for (const auto& row : readTable("core/part-names.tsv"))
        EXPECT_EQ(verdictOn(toString(row[0])), row[row.size() > 3 ? 3 : 1]) << row[0] << ": " << row[2];
}

/// Calls the action with every sequence of up to `length` pieces, behind the prefix.
template <class Pieces, class Action>
void forEachText(const std::u16string& prefix, const Pieces& pieces, int length, const Action& action) {
    action(prefix);
    if (length != 0)
        for (const auto& piece : pieces)
            forEachText(prefix + piece, pieces, length - 1, action);
}

TEST(PartName, RelationshipsNamesAreTheLanguageOfTheExpression) {
    // The rule is the expression; the check is not, for speed.
    const boost::wregex expression(LR"(^.*/_rels/.*\.rels$)");
    const std::u16string pieces[] = {u"/_rels/", u"/_rels", u".rels", u"/", u"_rels", u"a", u"."};
    forEachText(u"", pieces, 5, [&](const std::u16string& text) {
        ASSERT_EQ(detail::isRelationshipsPartName(text), boost::regex_match(toWideString(text), expression))
            << toASCIIString(text);
    });
}

TEST(PartName, TheTextCheckAcceptsExactlyThePartNames) {
    const auto compare = [](const std::u16string& text) {
        const std::string verdict = verdictOn(text);
        ASSERT_EQ(detail::isPartName(text), verdict == "valid" || verdict.starts_with("source"))
            << detail::toUTF8String(text, false);
    };
    forEachText(u"", std::u16string_view(u"/a.%4?# :\u00E9"), 5, compare);
    forEachText(u"/", std::u16string_view(u"%257eF."), 6, compare); // escapes, in full
    for (char16_t unit = 0; unit < 0x180; ++unit)                   // every character in path, query and fragment
        for (const char16_t* before : {u"/a", u"/a?", u"/a#", u"/a%4", u"/a%", u""})
            compare(std::u16string(before) + unit + u"b");
}

TEST(ContentType, AcceptsTheLanguageOfTheGrammar) {
    const std::wstring token = LR"([-!#$%&'*+.^_`|~0-9A-Za-z]+)";
    const boost::wregex grammar(token + L"/" + token + L"( *; *" + token + L"=(" + token + LR"(|"[ !#-~]+"))*)");
    long accepted = 0;
    const auto compare = [&](const std::u16string& text) {
        const bool expected = boost::regex_match(toWideString(text), grammar);
        ASSERT_EQ(thrownBy([&] { ContentType type(text); }) == "nothing", expected) << detail::toUTF8String(text);
        accepted += expected ? 1 : 0;
    };
    for (const char16_t* start : {u"", u"a/b", u"a/b;c="})
        forEachText(start, std::u16string_view(u"a/; =\"\\"), 5, compare);
    const std::pair<const char16_t*, const char16_t*> places[] = {
        {u"a", u"/b"}, {u"a/", u""}, {u"a/b;", u"=c"}, {u"a/b;c=", u""}, {u"a/b;c=\"", u"\""}, {u"a/b", u";c=d"}};
    for (const auto& [before, after] : places)
        for (char16_t unit = 0; unit < 0x180; ++unit)
            compare(std::u16string(before) + unit + after);
    EXPECT_GT(accepted, 500);
    const std::u16string spaces(1'000'000, u' '); // in linear time
    EXPECT_THROW(ContentType type(u"a/b" + spaces), InvalidContentType);
    EXPECT_NO_THROW(ContentType type(u"a/b" + spaces + u";" + spaces + u"c=\"" + spaces + u"\""));
}

TEST(ContentType, EditsParametersButRefusesWhatCannotStandInAMediaType) {
    ContentType contentType(u"a/b;Charset=x");
    EXPECT_TRUE(contentType.hasParameter(u"CHARSET"));
    contentType.addParameter(u"charset", u"utf-8"); // the stored spelling stays
    contentType.addParameter(u"q", u"a\"b");        // taken, though it cannot be read back
    for (const char16_t* attribute : {u"", u"char set", u"a=b", u"a\x1F", u"a\x7F", u"\u00E9"})
        expectAllThrow("InvalidContentTypeParameter: Invalid parameter attribute name",
                       {[&] { contentType.addParameter(attribute, u""); }});
    for (const char16_t* text : {u"", u"\t", u"\x7F", u"\u00E9"})
        expectAllThrow("InvalidContentTypeParameter: Invalid parameter attribute value",
                       {[&] { contentType.addParameter(u"q", text); }});
    EXPECT_EQ(contentType.toString(), u"a/b;Charset=utf-8;q=\"a\"b\"");
    EXPECT_EQ(contentType.getParameterValue(u"Q"), u"a\"b");
    contentType.removeParameter(u"CHARSET");
    EXPECT_EQ(contentType.toString(), u"a/b;q=\"a\"b\"");
    EXPECT_FALSE(contentType.hasParameter(u"charset"));
    expectAllThrow(
        "ContentTypeParameterNotFound: No parameter exists for the given attribute",
        {[&] { contentType.removeParameter(u"charset"); }, [&] { contentType.getParameterValue(u"charset"); }});
}

TEST(Relationship, ResolvesAnInternalTargetOnceForAll) {
    const Relationship relationship(u"id", u"type", URI(u"/a/b.xml"), URI(u"../x.xml?q#f"));
    const Relationship copy = relationship;
    EXPECT_TRUE(relationship == copy);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(relationship.getTargetURI().toString(), u"/x.xml?q#f");
    EXPECT_EQ(relationship.getTarget(), u"../x.xml?q#f");
    EXPECT_TRUE(relationship != copy); // the cache takes part
}

TEST(Relationship, EqualityTakesEveryFieldAndOrderTheIDAlone) {
    const Relationship one(u"B", u"type", URI(u"/a"), URI(u"x"));
    EXPECT_EQ(orderOf(one, Relationship(u"B", u"type", URI(u"/A"), URI(u"x"))), "="); // sources compare as URIs
    EXPECT_TRUE(one != Relationship(u"b", u"type", URI(u"/a"), URI(u"x")));
    EXPECT_TRUE(one != Relationship(u"B", u"Type", URI(u"/a"), URI(u"x")));
    EXPECT_TRUE(one != Relationship(u"B", u"type", URI(u"/b"), URI(u"x")));
    EXPECT_TRUE(one != Relationship(u"B", u"type", URI(u"/a"), URI(u"X"))); // targets compare as texts too
    EXPECT_TRUE(one != Relationship(u"B", u"type", URI(u"/a"), std::u16string(u"x")));
    const Relationship other(u"B", u"other", URI(u"/a"), URI(u"y"));
    EXPECT_FALSE(one == other || one < other || other < one);
    EXPECT_EQ(orderOf(one, Relationship(u"a", u"type", URI(u"/a"), URI(u"x"))), "<"); // by code units
}

TEST(RelationshipSelector, ComparesEveryField) {
    const RelationshipSelector selector(URI(u"/"), ById, u"rId1");
    EXPECT_TRUE(selector == RelationshipSelector(URI(u"/"), ById, u"rId1"));
    EXPECT_TRUE(selector != RelationshipSelector(URI(u"/a"), ById, u"rId1"));
    EXPECT_TRUE(selector != RelationshipSelector(URI(u"/"), RelationshipSelectorType::ByType, u"rId1"));
    EXPECT_TRUE(selector != RelationshipSelector(URI(u"/"), ById, u"rid1"));
}

} // namespace
} // namespace opc::model
