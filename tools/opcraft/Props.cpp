// SPDX-License-Identifier: Apache-2.0
#include "opcraft/PackageChange.hpp"
#include "opcraft/PropertyEdits.hpp"
#include "opcraft/PropsReport.hpp"
#include "opcraft/Targets.hpp"
#include "opcraft/Text.hpp"

#include <opc/model/coreproperties/PackageHelper.hpp>

#include <memory>
#include <vector>

namespace opcraft {

namespace {

using opc::model::PackageHelper;

struct PropsOptions : ReadOrChangeOptions {
    std::vector<std::string> set;
    std::vector<std::string> unset;
    std::vector<std::string> keywords;
    bool clear = false;
};

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

/// One line of what the part holds and the values do not, for a sentence.
std::string quoted(const UnreadText& unread) {
    return std::string("what <") + unread.property->name + "> holds (\"" + toUtf8(unread.text) + "\")";
}

ExitCode read(const PropsOptions& options, Console& console) {
    OpenPackage package(options);
    const StoredProperties stored = readProperties(package);
    console.write(options.json ? toJsonText(toJson(stored, options.file)) : toText(stored));
    for (const UnreadText& unread : stored.unread)
        console.note(options.file + ": " + stored.part + ": warning: " + quoted(unread) + " cannot be read as a whole");
    return ExitCode::Fine;
}

/// A part is written anew as a whole, so what was not read of it would be lost, unless the command names it.
/// @return whether there is something to save.
bool edit(OpenPackage& package, const PropertyEdits& edits) {
    const StoredProperties stored = readProperties(package);
    const opc::model::CoreProperties edited = edits.applyTo(stored.values);
    bool isChanged = !isSame(edited, stored.values);
    const UnreadText* lost = nullptr;
    for (const UnreadText& unread : stored.unread)
        if (edits.names(*unread.property))
            isChanged = true;
        else
            lost = &unread;
    if (!isChanged)
        return false;
    if (lost != nullptr)
        throw Failure(ExitCode::NotProcessed, package.getName(), stored.part,
                      quoted(*lost) + " would be lost by a change; set or unset it too");
    opc::model::Package& model = package.getModel();
    PackageHelper::createOrUpdateCoreProperties(model, edited,
                                                PackageHelper::findCorePropertiesRelationshipType(model));
    return true;
}

bool clear(OpenPackage& package) {
    bool isChanged = false;
    for (const std::u16string& type : PackageHelper::getCorePropertiesRelationshipTypes())
        isChanged = removeWithTargets(package, type) || isChanged;
    return isChanged;
}

/// Office programs differ in which of two they show.
void warnOfOthers(const std::vector<CorePropertiesEntry>& entries, const std::string& file, Console& console) {
    for (std::size_t i = 1; i < entries.size(); ++i)
        console.note(file + ": warning: " + entries[i].target +
                     " was not changed, and some programs show it instead: \"" + entries[i].id +
                     "\" relates it as core properties, too, by " + entries[i].type);
}

ExitCode change(const PropsOptions& options, const PropertyEdits& edits, Console& console) {
    PackageChange change(options, console);
    const bool isChanged = options.clear ? clear(change.getPackage()) : edit(change.getPackage(), edits);
    const std::vector<CorePropertiesEntry> entries = findCoreProperties(change.getPackage());
    change.save(console, isChanged);
    warnOfOthers(entries, options.file, console);
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

constexpr const char* help =
    "Without --set, --unset, --keyword and --clear, the properties are shown. They are category,\n"
    "contentStatus, created, creator, description, identifier, keywords, language, lastModifiedBy,\n"
    "lastPrinted, modified, revision, subject, title and version.\n\n"
    "Dates (created, lastPrinted, modified) are written like 2026-01-31T10:00:00Z, with another zone\n"
    "(+02:00), with a fraction of a second, or only as far as they are known: 2026-01-31T10:00Z,\n"
    "2026-01-31, 2026-01, 2026. They are stored in UTC.\n\n"
    "TEXT@LANGUAGE is a keyword with a language tag, such as \"Brief@de\" or \"letter@en-GB\". An @ at the\n"
    "end ends a keyword without a language: \"me@de@\" is the keyword me@de. Some programs read one keyword\n"
    "at most; --set keywords=\"tulips, roses\" stores one text, which they take apart.\n\n"
    "Core properties are also found by the relationship type that LibreOffice writes in place of the\n"
    "standard's, which then stays as it is. Where a package has both, those of the standard's type are\n"
    "shown and changed; --clear removes all.\n\n"
    "A change writes the whole part anew. Properties that the command does not name keep their value,\n"
    "but dates are then all in UTC, to the second, with a fraction of up to six digits when there is one.\n"
    "What could not be kept so keeps the change from being made.\n\n"
    "Examples:\n"
    "  opcraft props letter.docx\n"
    "  opcraft props letter.docx --set title=\"A letter\" --set created=2026-01-31 --unset revision\n"
    "  opcraft props letter.docx --keyword letter@en --keyword Brief@de";

} // namespace

void addPropsCommand(Tool& tool) {
    const auto options = std::make_shared<PropsOptions>();
    CLI::App* command = addCommand(tool, "props", "Show the core properties of a package, or change them", help);
    CLI::Option* json = addReadOrChangeOptions(*command, *options);
    CLI::Option* set = addTexts(*command, "--set", options->set, "Give a property a value");
    set->type_name("NAME=VALUE");
    CLI::Option* unset = addTexts(*command, "--unset", options->unset, "Take a property away");
    unset->type_name("NAME");
    CLI::Option* keyword = addTexts(*command, "--keyword", options->keywords,
                                    "Replace all keywords by this one and those of further --keyword options");
    keyword->type_name("TEXT@LANGUAGE");
    CLI::Option* clear =
        command->add_flag("--clear", options->clear, "Remove the core properties part")->disable_flag_override();
    clear->excludes(set)->excludes(unset)->excludes(keyword);
    json->excludes(set)->excludes(unset)->excludes(keyword)->excludes(clear);
    command->callback([&tool, options] {
        tool.action = {options->file, "", [options](Console& console) { return props(*options, console); }};
    });
}

} // namespace opcraft
