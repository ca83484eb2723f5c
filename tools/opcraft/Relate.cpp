// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include <memory>
#include <optional>

namespace opcraft {

namespace {

struct RelateOptions : ChangeOptions {
    std::string source;
    std::string type;
    std::string target;
    std::string id;
    bool external = false;
};

opc::model::Relationship create(opc::model::RelationshipSource& source, const RelateOptions& options) {
    const std::u16string type = toUtf16(options.type);
    const std::u16string id = toUtf16(options.id);
    if (options.external)
        return source.createExternalRelationship(type, toUtf16(options.target), id);
    return source.createInternalRelationship(type, toTarget(options.target), id);
}

/// What the arguments alone make impossible is wrong usage; everything else depends on the package.
opc::model::Relationship createOrExplain(opc::model::RelationshipSource& source, const RelateOptions& options) {
    try {
        return create(source, options);
    } catch (const opc::model::InvalidRelationshipTarget& e) {
        const bool isAbsolute = !options.external && toTarget(options.target).isAbsolute();
        throw wrongArgument(options.target,
                            std::string(e.what()) + (isAbsolute ? "; --external makes an external one" : ""));
    } catch (const opc::model::UnsupportedRelativize&) {
        throw wrongArgument(options.target, "the target must be a part other than the source");
    } catch (const opc::model::InvalidRelationshipType& e) {
        throw wrongArgument(options.type, e.what());
    } catch (const opc::model::InvalidRelationshipID& e) {
        throw wrongArgument(options.id, e.what());
    } catch (const opc::model::RelationshipAlreadyExists& e) {
        throw Failure(ExitCode::NotProcessed, "", "", '"' + options.id + "\": " + e.what());
    }
}

bool leadsNowhere(OpenPackage& package, const opc::model::Relationship& relationship) {
    const auto part = targetPartOf(relationship);
    return part && package.getPartKeys().count(opc::toLowerASCIIString(*part)) == 0;
}

ExitCode relate(const RelateOptions& options, Console& console) {
    const opc::model::PartName name = toPartName(options.source);
    PackageChange change(options, console);
    std::optional<opc::model::Relationship> relationship;
    change.getPackage().withSource(
        name, [&](opc::model::RelationshipSource& source) { relationship = createOrExplain(source, options); });
    const bool isDangling = leadsNowhere(change.getPackage(), *relationship);
    change.save(console);
    if (isDangling)
        console.note(options.file + ": " + toUtf8(*targetPartOf(*relationship)) +
                     ": warning: the relationship leads to a part that is not in the package");
    change.report(console, toUtf8(relationship->getID()) + '\n');
    return ExitCode::Fine;
}

} // namespace

void addRelateCommand(Tool& tool) {
    const auto options = std::make_shared<RelateOptions>();
    CLI::App* command = addCommand(
        tool, "relate", "Add a relationship to the package or to a part",
        std::string(
            "Prints the ID of the new relationship. The target of an internal relationship is a part name or a\n"
            "reference relative to the source; that of an external one is stored as you write it.\n\n") +
            PART_NAME_HELP +
            "\n\nExamples:\n"
            "  opcraft relate letter.docx / --type http://example.org/note --target /customXml/note.xml\n"
            "  opcraft relate letter.docx /word/document.xml --external --target https://example.org/ \\\n"
            "    --type http://schemas.openxmlformats.org/officeDocument/2006/relationships/hyperlink");
    addChangeOptions(*command, *options);
    command->add_option("SOURCE", options->source, "The part that the relationship starts from; / is the package")
        ->required();
    command->add_option("--type", options->type, "The type of the relationship, a URI")->type_name("TYPE")->required();
    command->add_option("--target", options->target, "What it leads to")->type_name("URI")->required();
    command->add_flag("--external", options->external, "The target lies outside of the package")
        ->disable_flag_override();
    command->add_option("--id", options->id, "The ID; without it, one is made")->type_name("ID")->check(notEmpty());
    command->callback([&tool, options] {
        const std::string source = options->source == "/" ? "" : options->source;
        tool.action = {options->file, source, [options](Console& console) { return relate(*options, console); }};
    });
}

} // namespace opcraft
