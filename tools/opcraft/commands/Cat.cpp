// SPDX-License-Identifier: Apache-2.0
#include "opcraft/ItemSelection.hpp"
#include "opcraft/OpenPackage.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/compare/PrettyXml.hpp>
#include <opc/core/Exception.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/model/PhysicalInputStream.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace opcraft {

namespace {

constexpr unsigned long COPIED_BLOCK_SIZE = 64 * 1024;

struct CatOptions : InputOptions {
    std::vector<std::string> items{};
    bool pretty = false;
};

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
    openItems(input, options, findings);
    const auto items = input.getStore().getItems();
    for (const std::size_t position : selectItems(options, options.items, items, findings))
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
