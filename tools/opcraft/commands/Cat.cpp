// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/compare/PrettyXml.hpp>
#include <opc/core/Exception.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/model/PhysicalInputStream.hpp>

#include <fnmatch.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace opcraft {

namespace {

constexpr unsigned long COPIED_BLOCK_SIZE = 64 * 1024;

using Items = std::vector<opc::storage::ZipItem>;

struct CatOptions : InputOptions {
    std::vector<std::string> items{};
    bool pretty = false;
};

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

/// The positions of the items that a pattern matches, with or without a leading slash, in the order of the file.
std::vector<std::size_t> matchItems(const Items& items, const std::string& pattern) {
    std::vector<std::size_t> found;
    const bool hasSlash = pattern.front() == '/';
    for (std::size_t i = 0; i < items.size(); ++i)
        if (::fnmatch(pattern.c_str(), ((hasSlash ? "/" : "") + items[i].name).c_str(), 0) == 0)
            found.push_back(i);
    return found;
}

/// What an argument names: an item, or else as a pattern any number of them.
void addItems(const CatOptions& options, const std::string& argument, const Items& items, bool isSound,
              std::vector<std::size_t>& positions) {
    const bool isPattern = argument.find_first_of("*?[") != std::string::npos;
    if (isPattern && findItems(items, argument).empty()) {
        const auto found = matchItems(items, argument);
        positions.insert(positions.end(), found.begin(), found.end());
        if (!found.empty())
            return;
    }
    InputOptions one = options;
    one.part = argument;
    positions.push_back(findItem(one, items, isSound));
}

void open(PackageInput& input, const InputOptions& options, FindingList& findings) {
    try {
        if (options.tolerant)
            input.getStore().openTolerantly(opc::interfaces::OpenMode::ReadOnly, findings);
        else
            input.getStore().open(opc::interfaces::OpenMode::ReadOnly);
    } catch (const opc::Exception& e) {
        throw openFailure(input, options, e);
    }
}

/// Collects lines, since there may be many short ones.
class LineWriter {
public:
    explicit LineWriter(Console& console) : console_(console) {}
    void write(std::string_view line) {
        text_.append(line) += '\n';
        if (text_.size() >= COPIED_BLOCK_SIZE)
            flush();
    }
    void flush() {
        console_.write(text_);
        text_.clear();
    }

private:
    Console& console_;
    std::string text_;
};

void copyPretty(opc::interfaces::IPhysicalInputStream& stream, const CatOptions& options, Console& console) {
    opc::model::PhysicalInputStream input(&stream);
    opc::compare::PrettyOptions how;
    how.limits = options.limits;
    LineWriter writer(console);
    try {
        opc::compare::printPretty(
            input, [&](std::string_view line) { writer.write(line); }, how);
    } catch (const opc::Exception&) {
        writer.flush();
        throw;
    }
    writer.flush();
}

void copy(const PackageInput& input, std::size_t position, const std::string& name, const CatOptions& options,
          Console& console) {
    try {
        opc::interfaces::IPhysicalInputStream& stream = *input.getStore().getItemInputStreamAt(position);
        if (options.pretty)
            return copyPretty(stream, options, console);
        stream.open();
        std::vector<unsigned char> block(COPIED_BLOCK_SIZE);
        while (const unsigned long count = stream.read(block.data(), COPIED_BLOCK_SIZE))
            console.write({reinterpret_cast<const char*>(block.data()), count});
    } catch (const opc::Exception& e) {
        throw toFailure(e, input.getName(), name);
    }
}

/// Opens only what the package is stored in, so that an item of a damaged package can be read.
ExitCode cat(const CatOptions& options, Console& console) {
    PackageInput input(options);
    FindingList findings;
    open(input, options, findings);
    const Items items = input.getStore().getItems();
    std::vector<std::size_t> positions;
    for (const std::string& argument : options.items)
        addItems(options, argument, items, findings.getAll().empty(), positions);
    for (const std::size_t position : positions)
        copy(input, position, items[position].name, options, console);
    findings.note(console, options.file);
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, CatOptions& options) {
    addInputOptions(command, options);
    addToleranceOptions(command, options);
    addTexts(command, "ITEM", options.items, "The items, or patterns of their names")
        ->allow_extra_args()
        ->required()
        ->check(notEmpty());
    addFlag(command, "--pretty", options.pretty, "Print XML for people, with a line for each element");
}

} // namespace

void addCatCommand(Tool& tool) {
    addCommand<CatOptions>(
        tool,
        {"cat", "Write the bytes of items to the standard output",
         "ITEM is the name of a part, of a relationships part, of \"[Content_Types].xml\" or of another item of the\n"
         "package, with or without its leading slash, with its percent-escapes or without. An item can be read\n"
         "even when other items are damaged. Of several items for one name, none is written without --take.\n"
         "A name with *, ? or [ that is that of no item is a pattern; its items come in the order of the file.\n"
         "With --pretty, XML is printed with a line for each element; other content is refused.\n\n"
         "Example:\n  opcraft cat letter.docx /word/document.xml",
         addOptions, cat});
}

} // namespace opcraft
