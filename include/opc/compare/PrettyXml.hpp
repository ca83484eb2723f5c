// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/InputStream.hpp>
#include <opc/core/Limits.hpp>

#include <functional>
#include <string>
#include <string_view>

namespace opc::compare {

/// How XML is printed. A value without invariants.
struct PrettyOptions {
    Limits limits{};      ///< those for the size and depth of XML count
    bool comments = true; ///< whether comments are printed

    /// What is printed for the value of an attribute: the text that it returns. Without a function, or for an empty
    /// text, the value itself.
    std::function<std::string(std::string_view uri, std::string_view name, std::string_view value)> attribute{};
};

/// Prints XML for people and for line differences, in constant memory but for the longest text between two tags:
/// elements with elements in them on lines of their own, indented; an element with text alone on one line, its text as
/// it is; other text without white space around it. Declarations of namespaces come first, attributes in the order of
/// their namespaces and names; a long tag takes a line for each of them. CDATA sections become text, all other content
/// stays. White space between elements is not kept, so the result is not for programs for which it counts.
/// @param xml well-formed XML 1.0 in UTF-8, UTF-16, ISO 8859-1 or US-ASCII, without a document type declaration and
///        without elements with more than 100,000 attributes and namespaces of more than 1,024 bytes.
/// @param write takes each line, in UTF-8, without its end.
/// @throws model::InvalidXMLDocument, with the line and column, for what is not such a document or exceeds a limit;
///         the lines before were written.
/// @throws opc::Exception what the stream throws; and what `write` throws.
OPCRAFT_API void printPretty(InputStream& xml, const std::function<void(std::string_view line)>& write,
                             const PrettyOptions& options = {});

} // namespace opc::compare
