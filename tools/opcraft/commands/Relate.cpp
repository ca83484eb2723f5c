// SPDX-License-Identifier: Apache-2.0
#include "opcraft/ContentIds.hpp"
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/Properties.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include <optional>

namespace opcraft {

namespace {

struct RelateOptions : ChangeOptions {
    std::string type{};
    std::string target{};
    std::string id{};
    bool external = false;
};

opc::model::Relationship create(opc::model::RelationshipSource& source, const RelateOptions& options,
                                const std::u16string& id) {
    const std::u16string type = toUtf16(options.type);
    if (options.external)
        return source.createExternalRelationship(type, toUtf16(options.target), id);
    return source.createInternalRelationship(type, toTarget(options.target), id);
}

/// With an ID that the content of the source does not mention.
opc::model::Relationship createNew(OpenPackage& package, opc::model::RelationshipSource& source,
                                   const RelateOptions& options) {
    const opc::model::Relationship created = create(source, options, toUtf16(options.id));
    const auto id = options.id.empty() ? findUnmentionedId(package, source, created.getID()) : std::nullopt;
    if (!id)
        return created;
    source.deleteRelationship(created.getID());
    return create(source, options, *id);
}

/// Errors of the arguments alone are wrong usage; the others depend on the package.
opc::model::Relationship createOrExplain(OpenPackage& package, opc::model::RelationshipSource& source,
                                         const RelateOptions& options) {
    try {
        return createNew(package, source, options);
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
        const bool isRaw = !source.hasRelationship(toUtf16(options.id));
        throw Failure(
            ExitCode::NotProcessed, "", "",
            '"' + options.id + "\": " +
                (isRaw ? "an entry that is not a relationship has this ID; 'opcraft unrelate --tolerant' removes it"
                       : e.what()));
    }
}

bool isDangling(OpenPackage& package, const opc::model::Relationship& relationship) {
    const auto part = targetPartOf(relationship);
    return part && !package.getPartKeys().contains(opc::toLowerASCIIString(*part));
}

ExitCode relate(const RelateOptions& options, Console& console) {
    const opc::model::PartName name = toPartName(options.part);
    PackageChange change(options, console);
    std::optional<opc::model::Relationship> relationship;
    change.getPackage().withSource(name, [&](opc::model::RelationshipSource& source) {
        relationship = createOrExplain(change.getPackage(), source, options);
    });
    if (name.toString() == u"/")
        throwIfNoCoreProperties(change.getPackage(), *relationship);
    const bool dangling = isDangling(change.getPackage(), *relationship);
    change.save(console);
    if (dangling)
        console.note(options.file + ": " + toUtf8(*targetPartOf(*relationship)) +
                     ": warning: the relationship leads to a part that is not in the package");
    change.report(console, toUtf8(relationship->getID()) + '\n');
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, RelateOptions& options) {
    addChangeOptions(command, options);
    addTolerantFlag(command, options);
    options.hidesPackage = true;
    addSourceArgument(command, options);
    command.add_option("--type", options.type, "The type of the relationship, a URI")->type_name("TYPE")->required();
    command.add_option("--target", options.target, "What it leads to")->type_name("URI")->required();
    addFlag(command, "--external", options.external, "The target lies outside of the package");
    command.add_option("--id", options.id, "The ID; without it, one is made")->type_name("ID")->check(notEmpty());
}

} // namespace

void addRelateCommand(Tool& tool) {
    addCommand<RelateOptions>(
        tool, {"relate", "Add a relationship to the package or to a part",
               std::string(
                   "Prints the ID of the new relationship. The target of an internal relationship is a part name or a\n"
                   "reference relative to the source; that of an external one is stored as you write it.\n\n") +
                   PART_NAME_HELP +
                   "\n\nExamples:\n"
                   "  opcraft relate letter.docx / --type http://example.org/note --target /customXml/note.xml\n"
                   "  opcraft relate letter.docx /word/document.xml --external --target https://example.org/ \\\n"
                   "    --type http://schemas.openxmlformats.org/officeDocument/2006/relationships/hyperlink",
               addOptions, relate});
}

} // namespace opcraft
