// SPDX-License-Identifier: Apache-2.0
#include "opcraft/FileInput.hpp"
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/Properties.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/errors/Errors.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include <map>
#include <optional>

namespace opcraft {

namespace {

using opc::interfaces::CompressionType;
using opc::model::PartName;

struct AddOptions : ChangeOptions {
    std::string type{};
    std::string from{};
    std::string relationshipType{};
    std::string compression = "normal";
};

const std::map<std::string, CompressionType> COMPRESSIONS = {
    {"none", CompressionType::None}, {"normal", CompressionType::Normal},        {"maximum", CompressionType::Maximum},
    {"fast", CompressionType::Fast}, {"super-fast", CompressionType::SuperFast},
};

void throwIfExists(OpenPackage& package, const PartName& name) {
    if (package.getModel().hasPart(name))
        throw Failure(ExitCode::NotProcessed, package.getName(), toUtf8(name.toString()),
                      "the package has a part of this name");
}

/// @return the ID of the new relationship; empty for none.
std::string addPart(OpenPackage& package, const PartName& name, const opc::model::ContentType& contentType,
                    const AddOptions& options) {
    std::optional<FileInput> input;
    if (!options.from.empty())
        input.emplace(options.from);
    const opc::model::StandardPartInfo info(COMPRESSIONS.at(options.compression), input ? input->getSize() : 0);
    const opc::model::Part part = package.getModel().createPart(name, contentType, info);
    if (input)
        copyContent(*input, *part.getOutputStream());
    if (options.relationshipType.empty())
        return {};
    const std::u16string type = toUtf16(options.relationshipType);
    const opc::model::Relationship relationship = package.getModel().createInternalRelationship(type, name.getURI());
    throwIfNoCoreProperties(package, relationship);
    return toUtf8(relationship.getID());
}

ExitCode add(const AddOptions& options, Console& console) {
    const PartName name = toPartNameOfPart(options.part);
    const opc::model::ContentType contentType = toContentTypeOfPart(options.type);
    throwIfOneStream(options.file, options.from);
    PackageChange change(options, console);
    throwIfExists(change.getPackage(), name);
    std::string id;
    try {
        id = addPart(change.getPackage(), name, contentType, options);
    } catch (const opc::model::InvalidRelationshipType& e) {
        throw wrongArgument(options.relationshipType, e.what());
    }
    change.save(console);
    if (!id.empty())
        change.report(console, id + '\n');
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, AddOptions& options) {
    addChangeOptions(command, options);
    addTolerantFlag(command, options);
    command.add_option("PART", options.part, "The name of the new part")->required();
    command.add_option("--type", options.type, "Its content type")->type_name("TYPE")->required();
    command.add_option("--from", options.from, "The file with its content; - is the standard input")
        ->type_name("FILE")
        ->check(notEmpty());
    command
        .add_option("--rel-type", options.relationshipType,
                    "Relate the package to the part, with a relationship of this type")
        ->type_name("TYPE")
        ->check(notEmpty());
    command.add_option("--compression", options.compression, "none, normal, maximum, fast or super-fast")
        ->type_name("LEVEL")
        ->capture_default_str()
        ->transform(oneOf(COMPRESSIONS, CLI::ignore_case));
}

} // namespace

void addAddCommand(Tool& tool) {
    addCommand<AddOptions>(
        tool, {"add", "Add a part",
               std::string("Without --from the part is empty. With --rel-type the ID of the new relationship is\n"
                           "printed.\n\n") +
                   PART_NAME_HELP +
                   "\n\nExample:\n  opcraft add letter.docx /customXml/note.xml --type application/xml "
                   "--from note.xml",
               addOptions, add});
}

} // namespace opcraft
