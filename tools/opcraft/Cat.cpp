// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Tool.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>

#include <memory>
#include <vector>

namespace opcraft {

namespace {

struct CatOptions : InputOptions {
    std::string item;
};

constexpr unsigned long blockSize = 64 * 1024;

opc::storage::ZipItem findItem(const CatOptions& options, const opc::storage::ZipPackage& zip) {
    const auto found = findItems(zip.getItems(), options.item);
    if (found.empty())
        throw Failure(ExitCode::NotProcessed, options.file, options.item,
                      "no such item; 'opcraft list' shows the parts of a package");
    if (found.size() == 1)
        return found.front();
    std::string names;
    for (const opc::storage::ZipItem& item : found)
        names += (names.empty() ? "" : ", ") + item.name;
    throw Failure(ExitCode::NotProcessed, options.file, options.item, "this may mean any of " + names);
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
        std::vector<unsigned char> block(blockSize);
        while (const unsigned long count = stream.read(block.data(), blockSize))
            console.write({reinterpret_cast<const char*>(block.data()), count});
    } catch (const opc::Exception& e) {
        throw toFailure(e, input.getName(), item.name);
    }
}

/// Only the ZIP file is opened, so that an item can be looked at although the package around it is damaged.
ExitCode cat(const CatOptions& options, Console& console) {
    const ZipInput input(options);
    open(input);
    copy(input, findItem(options, input.getZip()), console);
    return ExitCode::Fine;
}

} // namespace

void addCatCommand(Tool& tool) {
    const auto options = std::make_shared<CatOptions>();
    CLI::App* command = addCommand(
        tool, "cat", "Write the bytes of one item to the standard output",
        "ITEM is the name of a part, of a relationships part, of \"[Content_Types].xml\" or of another item of the\n"
        "ZIP file, with or without its leading slash, with its percent-escapes or without. An item can be read\n"
        "even when other items are damaged.\n\n"
        "Example:\n  opcraft cat letter.docx /word/document.xml");
    addInputOptions(*command, *options, "The package; - is the standard input");
    command->add_option("ITEM", options->item, "The item")->required();
    command->callback([&tool, options] {
        tool.action = {options->file, options->item, [options](Console& console) { return cat(*options, console); }};
    });
}

} // namespace opcraft
