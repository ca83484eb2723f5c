// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "cli/CommandLine.hpp"
#include "support/Authority.hpp"

#include <functional>
#include <string>
#include <vector>

namespace opc::test {

/// A letter that is there to be signed, and keys and certificates by the openssl command: the authority "root", and
/// "alice", whom it vouches for. Small keys, for they are made anew for every test.
class Signed : public CommandLine {
protected:
    Signed() {
        writeZip("letter.docx", letter());
        edit("letter.docx", "word/_rels/document.xml.rels", "../media/gone.png", "styles.xml"); // `sign` would warn
        issue("root", "root", "basicConstraints=critical,CA:true\nkeyUsage=critical,keyCertSign");
        issue("alice", "root");
    }

    void issue(const std::string& name, const std::string& issuer,
               const std::string& extensions = "keyUsage=critical,digitalSignature",
               const std::string& until = "20991231000000Z") {
        Request request{name, issuer};
        request.extensions = extensions;
        request.until = until;
        request.bits = "1024";
        authority_.issue(request);
    }

    /// A file of the authority.
    std::string pki(const std::string& name) const { return (authority_.folder / name).string(); }

    void openssl(const Arguments& arguments) const { test::openssl(authority_.folder, arguments); }

    /// What `sign` and `countersign` sign with.
    Arguments byAlice(Arguments command) const {
        command.insert(command.end(), {"--key", pki("alice.key"), "--cert", pki("alice.pem")});
        return command;
    }

    void sign(const std::string& file = "letter.docx") const { good(byAlice({"sign", file})); }

    /// Changes the items of a file as another ZIP tool would.
    void rezip(const std::string& file, const std::function<void(std::vector<RawItem>&)>& change) const {
        std::vector<RawItem> items;
        for (const std::string& name : RawZipReader(readFile(folder_ / file)).names())
            items.push_back({name, good({"cat", file, name})});
        change(items);
        writeZip(file, items);
    }

    /// Replaces a text in an item.
    void edit(const std::string& file, const std::string& item, const std::string& from, const std::string& to) const {
        bool isChanged = false;
        rezip(file, [&](std::vector<RawItem>& items) {
            for (RawItem& each : items) {
                const std::size_t at = each.name == item ? each.content.find(from) : std::string::npos;
                if (at != std::string::npos) {
                    each.content.replace(at, from.size(), to);
                    isChanged = true;
                }
            }
        });
        ASSERT_TRUE(isChanged) << item << " has no " << from;
    }

    /// A command that ends with some exit code and gives a JSON report.
    nlohmann::json reportWith(int exitCode, Arguments arguments) const {
        arguments.emplace_back("--json");
        const ProcessResult result = opcraft(arguments);
        EXPECT_EQ(result.exitCode, exitCode) << result.out << result.err;
        return nlohmann::json::parse(result.out);
    }

    Authority authority_;
};

} // namespace opc::test
