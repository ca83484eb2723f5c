// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace opc {

/// Limits on the cost of a package that is opened. A package may be malicious: a few kilobytes of a
/// ZIP file can inflate to terabytes. What is delivered is counted, whatever sizes the package declares.
///
/// A value without invariants; a store applies it to what it reads itself, `model::Package` to XML. What a package
/// writes obeys the limits for XML, too, and a saved ZIP file those on the number and the names of items and on the new
/// content of each, so that it can be read again. The defaults suit a program that opens files of
/// unknown origin; the documents of office programs stay far below them.
struct Limits {
    static constexpr std::uint64_t GIBIBYTE = 1024ULL * 1024 * 1024;

    /// Above this many inflated bytes of an item the ratio applies: equal rows of a table or zeros in a picture reach
    /// any ratio, and their cost below is bounded by the sizes.
    static constexpr std::uint64_t RATIO_FLOOR = 64ULL * 1024 * 1024;

    std::uint64_t items = 250'000;           ///< items of a ZIP file, including folders and others that are not parts
    std::uint64_t itemSize = 4 * GIBIBYTE;   ///< bytes of one item or part, inflated
    std::uint64_t totalSize = 16 * GIBIBYTE; ///< bytes of all items that are read, inflated, each counted once
    std::uint64_t ratio = 250; ///< inflated bytes for one compressed byte, above the floor; DEFLATE can reach 1,032
    std::uint64_t nameLength = 4096;             ///< bytes of the name of an item
    std::uint64_t xmlSize = 64ULL * 1024 * 1024; ///< bytes of an XML part or stream
    std::uint64_t xmlDepth = 128; ///< elements nested in one another, the outermost counting 1; each level takes stack
    std::uint64_t xmlNodes = 1'000'000; ///< of an XML part or stream: elements, attributes with the declarations of
                                        ///< namespaces, comments, processing instructions and CDATA sections; not texts
};

} // namespace opc
