// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/Properties.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/core/Characters.hpp>
#include <opc/core/Time.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>

#include <algorithm>
#include <cstdio>
#include <set>
#include <vector>

namespace opcraft {

namespace {

using opc::model::CoreProperties;
using opc::model::PackageHelper;

struct PropsOptions : ReadOrChangeOptions {
    std::vector<std::string> set{};
    std::vector<std::string> unset{};
    std::vector<std::string> keywords{};
    bool clear = false;
};

constexpr const char* KEYWORDS_NAME = "keywords";

std::vector<std::string> propertyNames() {
    std::vector<std::string> names;
    for (const CoreProperty& property : opc::model::getAllCoreProperties())
        names.emplace_back(property.name);
    return names;
}

const CoreProperty& toProperty(const std::string& name, const std::string& argument) {
    if (const CoreProperty* property = findProperty(name))
        return *property;
    throw wrongArgument(argument, "unknown property \"" + name + "\"; known are " + listText(propertyNames()));
}

std::u16string toText(const std::string& value, const std::string& argument) {
    std::u16string text = toUtf16(value);
    const auto found = std::find_if_not(text.begin(), text.end(), opc::detail::isXMLUnit);
    if (found == text.end())
        return text;
    char code[8];
    std::snprintf(code, sizeof code, "U+%04X", static_cast<unsigned>(*found));
    throw wrongArgument(argument, std::string("the character ") + code + " is not allowed in XML");
}

/// A time is stored in UTC, to the microsecond, and nothing of it is cut off or assumed in silence.
void throwIfInexact(const std::string& value, const std::string& argument) {
    const std::size_t time = value.find('T');
    if (time == value.npos)
        return;
    const std::size_t zone = value.find_first_of("Z+-", time);
    if (zone == value.npos)
        throw wrongArgument(argument, "a time without a zone; a Z at its end makes it one in UTC");
    const std::size_t point = value.find('.', time);
    if (point != value.npos && value.find_first_not_of('0', std::min(point + 7, zone)) < zone)
        throw wrongArgument(argument, "a fraction of more than six digits, of which only six can be stored");
}

boost::posix_time::ptime toTime(const std::string& value, const std::string& argument) {
    const auto time = opc::convertStringToTime(toUtf16(value));
    if (time.is_special())
        throw wrongArgument(argument, "not a date of the years 1400 to 9999; an example is 2026-01-31T10:00:00Z");
    throwIfInexact(value, argument);
    return time;
}

bool isSubtag(std::u16string_view text, std::size_t shortest, std::size_t longest, bool lettersOnly) {
    const auto isAllowed = [&](char16_t c) {
        return opc::detail::isLetter(c) || (!lettersOnly && opc::detail::isDigit(c));
    };
    return text.size() >= shortest && text.size() <= longest && std::all_of(text.begin(), text.end(), isAllowed);
}

/// The shape of RFC 5646 §2.1: subtags of one to eight letters and digits behind a language of two or three letters
/// (longer ones are allowed there, and there are none), or behind an "x" or "i".
bool isLanguageTag(std::u16string_view text) {
    const std::size_t end = std::min(text.find(u'-'), text.size());
    const std::u16string_view first = text.substr(0, end);
    const bool isSpecial = end != text.size() && (first == u"x" || first == u"X" || first == u"i" || first == u"I");
    if (!isSpecial && !isSubtag(first, 2, 3, true))
        return false;
    for (std::u16string_view rest = text.substr(end); !rest.empty();) {
        rest.remove_prefix(1);
        const std::size_t length = std::min(rest.find(u'-'), rest.size());
        if (!isSubtag(rest.substr(0, length), 1, 8, false))
            return false;
        rest.remove_prefix(length);
    }
    return true;
}

CoreProperties::Keyword splitKeyword(const std::u16string& text) {
    const std::size_t at = text.rfind(u'@');
    if (at == text.npos)
        return {text, u""};
    const std::u16string language = text.substr(at + 1);
    if (!language.empty() && !isLanguageTag(language))
        return {text, u""};
    return {text.substr(0, at), language};
}

struct Setter {
    const std::string& value;
    const std::string& argument;
    CoreProperties& properties;

    void operator()(const CoreProperty::Text& access) const { (properties.*access.set)(toText(value, argument)); }
    void operator()(const CoreProperty::Time& access) const { (properties.*access.set)(toTime(value, argument)); }
    void operator()(const CoreProperty::Keywords& access) const {
        (properties.*access.set)({{toText(value, argument), u""}});
    }
};

/// The changes of core properties that a command line asks for. Every function that takes arguments throws a `Failure`
/// for wrong usage: for an unknown property, for one that is named twice, and for a value that no package can hold.
class PropertyEdits {
public:
    /// @param assignment "NAME=VALUE"; the value of a date is W3CDTF.
    void set(const std::string& assignment);
    void unset(const std::string& name);
    /// @param arguments "TEXT" or "TEXT@LANGUAGE"; an "@" at the end ends a text without a language.
    void setKeywords(const std::vector<std::string>& arguments);

    bool isEmpty() const { return named_.empty(); }

    /// The properties that are named, and those of them that are set.
    const std::set<const CoreProperty*>& getNamed() const { return named_; }
    const CoreProperties& getValues() const { return values_; }

private:
    void claim(const CoreProperty& property, const std::string& argument);

    std::set<const CoreProperty*> named_;
    CoreProperties values_; // of properties that are set; a named one without a value is unset
};

void PropertyEdits::claim(const CoreProperty& property, const std::string& argument) {
    if (!named_.insert(&property).second)
        throw wrongArgument(argument, std::string("the property \"") + property.name + "\" is named twice");
}

void PropertyEdits::set(const std::string& assignment) {
    const std::size_t equals = assignment.find('=');
    if (equals == std::string::npos)
        throw wrongArgument(assignment, "a property is set with NAME=VALUE");
    const CoreProperty& property = toProperty(assignment.substr(0, equals), assignment);
    claim(property, assignment);
    const std::string value = assignment.substr(equals + 1);
    std::visit(Setter{value, assignment, values_}, property.access);
}

void PropertyEdits::unset(const std::string& name) {
    claim(toProperty(name, name), name);
}

void PropertyEdits::setKeywords(const std::vector<std::string>& arguments) {
    std::vector<CoreProperties::Keyword> keywords;
    for (const std::string& argument : arguments)
        keywords.push_back(splitKeyword(toText(argument, argument)));
    claim(*findProperty(KEYWORDS_NAME), arguments.front());
    values_.setKeywords(keywords);
}

/// The keyword as `PropertyEdits::setKeywords` takes it.
std::u16string toArgument(const CoreProperties::Keyword& keyword) {
    const auto& [text, language] = keyword;
    return splitKeyword(text) == keyword ? text : text + u'@' + language;
}

std::vector<std::string> toLines(const std::u16string& text) {
    return {toUtf8(text)};
}

std::vector<std::string> toLines(const boost::posix_time::ptime& time) {
    return {toUtf8(opc::convertTimeToString(time))};
}

std::vector<std::string> toLines(const CoreProperty::Keywords::Type& keywords) {
    std::vector<std::string> lines;
    for (const auto& keyword : keywords)
        lines.push_back(toUtf8(toArgument(keyword)));
    return lines;
}

template <class Value>
Json toJson(const Value& value) {
    return toLines(value).front();
}

Json toJson(const CoreProperty::Keywords::Type& keywords) {
    return toJsonArray(
        keywords,
        [](const auto& keyword) {
            return Json{{"text", toUtf8(keyword.first)}, {"language", textOrNull(toUtf8(keyword.second))}};
        });
}

/// Relationship types other than the standard's, and core properties that are not shown.
std::string furtherPartsText(const std::vector<CorePropertiesEntry>& entries) {
    std::string text;
    if (!entries.empty() && !entries.front().isStandard)
        text = "\nThis is " + escaped(entries.front().target) + ", related by another type than the standard's:\n" +
               escaped(entries.front().type) + '\n';
    for (std::size_t i = 1; i < entries.size(); ++i)
        text += "\nNot shown is " + escaped(entries[i].target) + ", which some programs show instead, related by:\n" +
                escaped(entries[i].type) + '\n';
    return text;
}

Json toJson(const CorePropertiesEntry& entry) {
    return {{"part", entry.part ? Json(entry.target) : Json()}, {"relationshipType", entry.type}};
}

/// Calls an action with the name of every property and its value, an optional.
template <class Action>
void forEachValue(const CoreProperties& values, Action action) {
    for (const CoreProperty& property : opc::model::getAllCoreProperties())
        std::visit([&](const auto& access) { action(property.name, (values.*access.get)()); }, property.access);
}

std::string toText(const StoredProperties& stored) {
    std::string text;
    forEachValue(stored.values, [&](const char* name, const auto& value) {
        if (!value)
            return;
        std::string title = name;
        for (const std::string& each : toLines(*value)) {
            text += titledLine(title, 16, each);
            title.clear();
        }
    });
    return (text.empty() ? "No core properties.\n" : text) + furtherPartsText(stored.entries);
}

Json toJson(const StoredProperties& stored, const std::string& file, std::size_t findings) {
    Json json = makeJsonReport("props", file, findings);
    json["part"] = textOrNull(stored.part);
    json["relationshipType"] = stored.entries.empty() ? Json() : Json(stored.entries.front().type);
    forEachValue(
        stored.values,
        [&](const char* name, const auto& value) { json["properties"][name] = value ? toJson(*value) : Json(); });
    json["unread"] = toJsonArray(stored.unread, [](const UnreadText& unread) {
        return Json{{"property", unread.property->name}, {"text", toUtf8(unread.text)}};
    });
    json["furtherParts"] = Json::array();
    for (std::size_t i = 1; i < stored.entries.size(); ++i)
        json["furtherParts"].push_back(toJson(stored.entries[i]));
    return json;
}

PropertyEdits toEdits(const PropsOptions& options) {
    PropertyEdits edits;
    for (const std::string& assignment : options.set)
        edits.set(assignment);
    for (const std::string& name : options.unset)
        edits.unset(name);
    if (!options.keywords.empty())
        edits.setKeywords(options.keywords);
    return edits;
}

void warn(const FindingList& findings, const std::string& file, Console& console) {
    for (const opc::Finding& each : findings.getAll())
        console.note(warningLine(file, each.place));
}

/// Whether a finding is about the element of a property.
bool isNamedIn(const std::vector<opc::Finding>& findings, const CoreProperty& property) {
    return std::any_of(
        findings.begin(), findings.end(),
        [&](const opc::Finding& each) {
            const std::string& element = each.place.element;
            return element.substr(element.find(':') + 1) == property.name;
        });
}

ExitCode read(const PropsOptions& options, Console& console) {
    OpenPackage package(options.forReading());
    FindingList wrong;
    const StoredProperties stored = readProperties(package, options.strict ? nullptr : &wrong);
    FindingList all = package.getFindings();
    for (const opc::Finding& each : wrong.getAll())
        all.found(each);
    console.write(options.json ? toJsonText(toJson(stored, options.file, all.getAll().size())) : toText(stored));
    warn(wrong, options.file, console);
    for (const UnreadText& unread : stored.unread)
        if (!isNamedIn(wrong.getAll(), *unread.property))
            console.note(options.file + ": " + stored.part + ": warning: what <" + unread.property->name +
                         "> holds (\"" + toUtf8(unread.text) + "\") cannot be read as a whole");
    all.note(console, options.file);
    return ExitCode::Fine;
}

/// Properties that are wrong and are not changed stay as they are.
/// @param left receives what is wrong after the change.
/// @return whether anything changed.
bool edit(OpenPackage& package, const PropertyEdits& edits, FindingList& left) {
    FindingList findings;
    throwIfRawOfType(package, PackageHelper::getCorePropertiesRelationshipTypes());
    const StoredProperties stored = readProperties(package, &findings);
    if (stored.part.empty() && !stored.entries.empty())
        throw leadsNowhere(package, stored.entries.front());
    opc::model::Package& model = package.getModel();
    bool isChanged = false;
    try {
        isChanged =
            PackageHelper::updateCoreProperties(model, edits.getValues(), edits.getNamed(),
                                                PackageHelper::findCorePropertiesRelationshipType(model), findings);
    } catch (const opc::model::InvalidPartContent&) {
        readProperties(package); // for the place
        throw;
    }
    if (!findings.getAll().empty())
        readProperties(package, &left);
    return isChanged;
}

/// Office programs differ in which of two parts they show.
void warnOfOtherParts(const std::vector<CorePropertiesEntry>& entries, const std::string& file, Console& console) {
    for (std::size_t i = 1; i < entries.size(); ++i)
        console.note(file + ": warning: " + entries[i].target +
                     " was not changed, and some programs show it instead: \"" + entries[i].id +
                     "\" relates it as core properties, too, by " + entries[i].type);
}

ExitCode change(const PropsOptions& options, const PropertyEdits& edits, Console& console) {
    PackageChange change(options, console);
    FindingList left;
    const Removal removal =
        options.clear ? removeWithTargets(change.getPackage(), PackageHelper::getCorePropertiesRelationshipTypes())
                      : Removal();
    const bool isChanged = options.clear ? removal.isChanged : edit(change.getPackage(), edits, left);
    const std::vector<CorePropertiesEntry> entries = findCoreProperties(change.getPackage());
    change.save(console, isChanged);
    warn(left, options.file, console);
    warnOfOtherParts(entries, options.file, console);
    noteKept(removal, options.file, console);
    return ExitCode::Fine;
}

ExitCode props(const PropsOptions& options, Console& console) {
    const PropertyEdits edits = toEdits(options);
    if (options.clear || !edits.isEmpty())
        return change(options, edits, console);
    if (!options.output.empty())
        throw Failure(ExitCode::WrongUsage, "", "", "-o needs --set, --unset, --keyword or --clear");
    return read(options, console);
}

constexpr const char* PROPS_HELP =
    "Without --set, --unset, --keyword and --clear, the properties are shown. They are category,\n"
    "contentStatus, created, creator, description, identifier, keywords, language, lastModifiedBy,\n"
    "lastPrinted, modified, revision, subject, title and version.\n\n"
    "Dates (created, lastPrinted, modified) are written like 2026-01-31T10:00:00Z, with another zone\n"
    "(+02:00), with up to six digits of a fraction, or only as far as they are known: 2026-01-31T10:00Z,\n"
    "2026-01-31, 2026-01, 2026. They are stored in UTC; a time without a zone is refused.\n\n"
    "TEXT@LANGUAGE is a keyword with a language tag, such as \"Brief@de\" or \"letter@en-GB\". An @ at the\n"
    "end ends a keyword without a language: \"me@de@\" is the keyword me@de. Some programs read one keyword\n"
    "at most; --set keywords=\"tulips, roses\" stores one text, which they take apart.\n\n"
    "Core properties are also found by the relationship type that LibreOffice writes in place of the\n"
    "standard's, which then stays as it is. Where a package has both, those of the standard's type are\n"
    "shown and changed; --clear removes all.\n\n"
    "Properties that the command does not name stay as they are stored. One that cannot be read is told,\n"
    "and --set or --unset of it mends it.\n\n"
    "Examples:\n"
    "  opcraft props letter.docx\n"
    "  opcraft props letter.docx --set title=\"A letter\" --set created=2026-01-31 --unset revision\n"
    "  opcraft props letter.docx --keyword letter@en --keyword Brief@de";

void addOptions(CLI::App& command, PropsOptions& options) {
    const std::vector<CLI::Option*> reading = addReadOrChangeOptions(command, options);
    CLI::Option* set = addTexts(command, "--set", options.set, "Give a property a value")
                           ->type_name("NAME=VALUE")
                           ->check(offering(propertyNames(), "="));
    CLI::Option* unset = addTexts(command, "--unset", options.unset, "Take a property away")
                             ->type_name("NAME")
                             ->check(offering(propertyNames()));
    CLI::Option* keyword = addTexts(command, "--keyword", options.keywords,
                                    "Replace all keywords by this one and those of further --keyword options")
                               ->type_name("TEXT@LANGUAGE");
    CLI::Option* clear = addFlag(command, "--clear", options.clear,
                                 "Remove the core properties part, unless something else leads to it");
    clear->excludes(set)->excludes(unset)->excludes(keyword);
    for (CLI::Option* each : reading)
        each->excludes(set)->excludes(unset)->excludes(keyword)->excludes(clear);
}

} // namespace

void addPropsCommand(Tool& tool) {
    addCommand<PropsOptions>(
        tool, {"props", "Show the core properties of a package, or change them", PROPS_HELP, addOptions, props});
}

} // namespace opcraft
