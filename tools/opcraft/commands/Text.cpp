// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Text.hpp"

#include "opcraft/OpenPackage.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/compare/PackageText.hpp>

#include <string>

namespace opcraft {

namespace {

constexpr std::size_t TEXT_BLOCK = 64UL * 1024;

struct TextOptions : InputOptions {};

ExitCode text(const TextOptions& options, Console& console) {
    OpenPackage package(options);
    package.getInput().expectReading();
    std::string block;
    opc::compare::writeText({&package.getModel(), &package.getInput().getStore(), nullptr}, [&](std::string_view line) {
        block += escaped(line) + '\n';
        if (block.size() < TEXT_BLOCK)
            return;
        console.write(block);
        block.clear();
    });
    console.write(block);
    package.getFindings().note(console, options.file);
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, TextOptions& options) {
    addInputOptions(command, options);
    addToleranceOptions(command, options);
}

} // namespace

void addTextCommand(Tool& tool) {
    addCommand<TextOptions>(
        tool,
        {"text", "Write a package as text, for line differences",
         "The text has the relationships, content types and contents of all parts in a stable order, XML with a\n"
         "line for each element, and the size and SHA-256 digest of everything else. It is the same whatever the\n"
         "file is called and however it is compressed, so that git can show what changes in a document.\n\n"
         "Examples:\n  opcraft text letter.docx\n  echo '*.docx diff=opc' >> .gitattributes\n"
         "  git config diff.opc.textconv 'opcraft text'",
         addOptions, text});
}

} // namespace opcraft
