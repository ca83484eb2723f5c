// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>

#include <vector>

namespace opcraft {

namespace {

constexpr unsigned long COPIED_BLOCK_SIZE = 64 * 1024;

opc::storage::ZipItem findItem(const InputOptions& options, const opc::storage::ZipPackage& zip) {
    const auto found = findItems(zip.getItems(), options.part);
    if (found.empty())
        throw Failure(ExitCode::NotProcessed, options.file, options.part,
                      "no such item; 'opcraft list' shows the parts of a package");
    if (found.size() == 1)
        return found.front();
    std::vector<std::string> names;
    for (const opc::storage::ZipItem& item : found)
        names.push_back(item.name);
    throw Failure(ExitCode::NotProcessed, options.file, options.part,
                  "this may mean any of " + listText(names, names.size()));
}

void open(const ZipInput& input) {
    try {
        input.getZip().open(opc::interfaces::OpenMode::ReadOnly);
    } catch (const opc::Exception& e) {
        throw toFailure(e, input.getName(), "");
    }
}

void copy(const ZipInput& input, const opc::storage::ZipItem& item, Console& console) {
    try {
        opc::interfaces::IPhysicalInputStream& stream = *input.getZip().getItemInputStream(item.name);
        stream.open();
        std::vector<unsigned char> block(COPIED_BLOCK_SIZE);
        while (const unsigned long count = stream.read(block.data(), COPIED_BLOCK_SIZE))
            console.write({reinterpret_cast<const char*>(block.data()), count});
    } catch (const opc::Exception& e) {
        throw toFailure(e, input.getName(), item.name);
    }
}

/// Opens only the ZIP file, so that an item of a damaged package can be read.
ExitCode cat(const InputOptions& options, Console& console) {
    const ZipInput input(options);
    open(input);
    copy(input, findItem(options, input.getZip()), console);
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, InputOptions& options) {
    addInputOptions(command, options);
    command.add_option("ITEM", options.part, "The item")->required();
}

} // namespace

void addCatCommand(Tool& tool) {
    addCommand<InputOptions>(
        tool,
        {"cat", "Write the bytes of one item to the standard output",
         "ITEM is the name of a part, of a relationships part, of \"[Content_Types].xml\" or of another item of the\n"
         "ZIP file, with or without its leading slash, with its percent-escapes or without. An item can be read\n"
         "even when other items are damaged.\n\n"
         "Example:\n  opcraft cat letter.docx /word/document.xml",
         addOptions, cat});
}

} // namespace opcraft
