// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Tool.hpp"

#include <opc/core/Findings.hpp>

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace opcraft {

/// A finding and what it is known by: a digest without its line, which stays the same when other things change.
struct LintFinding : opc::Finding {
    std::string fingerprint{}; ///< of rule, item, element, Id and value; of several alike each has another
};

/// The findings of one package.
struct LintedFile {
    LintedFile(std::string fileName, const std::vector<opc::Finding>& found);

    std::string file; ///< as it was named on the command line
    std::vector<LintFinding> findings{};
    std::size_t known = 0; ///< how many findings are left out, since the baseline has them
};

/// "error", "warning" or "note".
const char* nameOf(opc::Severity severity);

/// The path of a file as a URI reference: relative to the working directory where it lies in there, else absolute.
std::string uriOf(const std::string& file);

/// "/word/_rels/document.xml.rels:3:120", or "/word/document.xml"; empty for what concerns the package as a whole.
std::string placeText(const opc::ErrorPlace& place);

/// "letter.docx: /word/_rels/document.xml.rels:3:120: error M1.26: …", escaped, without the end of the line.
std::string findingLine(const std::string& file, const opc::Finding& finding);
Json findingJson(const opc::Finding& finding);

/// One line for each finding.
std::string toText(const LintedFile& linted);
/// "2 errors, 1 warning, 0 notes"
std::string countLine(const std::vector<LintedFile>& files);
Json toJson(const LintedFile& linted);

/// All findings as one log of SARIF 2.1.0.
/// @param isComplete whether all files could be read.
Json toSarif(const std::vector<LintedFile>& files, bool isComplete);

/// For an option that takes the name of a rule.
CLI::Validator isRule();

std::string rulesText();
Json rulesJson();
std::string explanationOf(const opc::Rule& rule);

/// What was found before and is not told again: fingerprints by the URI of the file.
class Baseline {
public:
    /// @throws Failure naming the file when it is not a baseline.
    static Baseline read(const std::string& file);

    void add(const LintedFile& linted);
    /// Leaves out the findings that it has.
    void removeKnown(LintedFile& linted) const;
    /// @throws Failure naming a file that exists and is not a baseline.
    static void throwIfNotReplaceable(const std::string& file);
    /// Replaces a baseline when the new one is complete.
    /// @throws Failure naming the file when it cannot be written.
    void write(const std::string& file) const;

private:
    std::map<std::string, std::set<std::string>> keys_;
};

} // namespace opcraft
