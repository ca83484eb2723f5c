// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace opcraft {

namespace {

constexpr unsigned long COPIED_BLOCK_SIZE = 64 * 1024;

using Items = std::vector<opc::storage::ZipItem>;

Failure ambiguous(const InputOptions& options, const Items& items, const std::vector<std::size_t>& found,
                  const std::string& advice) {
    std::vector<std::string> names;
    for (const std::size_t each : found)
        names.push_back(items[each].name);
    return {ExitCode::NotProcessed, options.file, options.part,
            "this may mean any of " + listText(names, names.size()) + advice};
}

/// @param isSound whether no two items have the same name.
/// @return the position of the item.
std::size_t findItem(const InputOptions& options, const Items& items, bool isSound) {
    const auto found = findItems(items, options.part);
    if (found.empty())
        throw Failure(ExitCode::NotProcessed, options.file, options.part,
                      "no such item; 'opcraft list' shows the parts of a package");
    const auto same = isSound ? found : findSameNames(items, found.front());
    if (same.size() == 1 && found.size() == 1)
        return found.front();
    if (isSound || !std::includes(same.begin(), same.end(), found.begin(), found.end()))
        throw ambiguous(options, items, found, "");
    if (options.take == Take::Neither)
        throw ambiguous(options, items, same, "; --take first or --take last reads one of them");
    return options.take == Take::First ? same.front() : same.back();
}

void open(ZipInput& input, const InputOptions& options, FindingList& findings) {
    try {
        if (options.tolerant)
            input.getZip().openTolerantly(opc::interfaces::OpenMode::ReadOnly, findings);
        else
            input.getZip().open(opc::interfaces::OpenMode::ReadOnly);
    } catch (const opc::Exception& e) {
        throw openFailure(input, options, e);
    }
}

void copy(const ZipInput& input, std::size_t position, const std::string& name, Console& console) {
    try {
        opc::interfaces::IPhysicalInputStream& stream = *input.getZip().getItemInputStreamAt(position);
        stream.open();
        std::vector<unsigned char> block(COPIED_BLOCK_SIZE);
        while (const unsigned long count = stream.read(block.data(), COPIED_BLOCK_SIZE))
            console.write({reinterpret_cast<const char*>(block.data()), count});
    } catch (const opc::Exception& e) {
        throw toFailure(e, input.getName(), name);
    }
}

/// Opens only the ZIP file, so that an item of a damaged package can be read.
ExitCode cat(const InputOptions& options, Console& console) {
    ZipInput input(options);
    FindingList findings;
    open(input, options, findings);
    const Items items = input.getZip().getItems();
    const std::size_t position = findItem(options, items, findings.getAll().empty());
    copy(input, position, items[position].name, console);
    findings.note(console, options.file);
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, InputOptions& options) {
    addInputOptions(command, options);
    addToleranceOptions(command, options);
    command.add_option("ITEM", options.part, "The item")->required();
}

} // namespace

void addCatCommand(Tool& tool) {
    addCommand<InputOptions>(
        tool,
        {"cat", "Write the bytes of one item to the standard output",
         "ITEM is the name of a part, of a relationships part, of \"[Content_Types].xml\" or of another item of the\n"
         "ZIP file, with or without its leading slash, with its percent-escapes or without. An item can be read\n"
         "even when other items are damaged. Of several items for one name, none is written without --take.\n\n"
         "Example:\n  opcraft cat letter.docx /word/document.xml",
         addOptions, cat});
}

} // namespace opcraft
