// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace opc::interfaces {

class IPhysicalInputStream;

/// Optional for a physical package: one whose stored items can be read and changed below the parts that they are, to
/// mend what is wrong with them, implements this interface too. Meant for a package that was opened tolerantly
/// (`IPhysicalFindings`), which may have items that are not parts, or several for one part. A decorator of such a
/// package forwards it.
///
/// The functions are called like those of `IPhysicalPackage`: by one thread at a time.
class OPCRAFT_API IPhysicalItems {
public:
    /// One stored item, as it was when the package was opened.
    struct Item {
        std::string name;       ///< UTF-8, as the store has it; several items may have equal names
        std::uint64_t size = 0; ///< bytes, uncompressed
    };

    /// What becomes of one item. Items that no change names stay as they are.
    struct Change {
        /// Of the item in `getStoredItems`; nothing: a new item, behind all others, but a content types stream
        /// ("[Content_Types].xml") in front of them.
        std::optional<std::size_t> position{};

        std::string name{};                                  ///< from now on, UTF-8; ignored for a deletion
        std::optional<std::vector<unsigned char>> content{}; ///< nothing: it keeps its bytes as they are stored
        bool isDeleted = false;
    };

    virtual ~IPhysicalItems();

    /// All items as they were when the package was opened, in the order of the store: the content types stream, folders
    /// and each piece of an interleaved part (ECMA-376-2 §7.2.4) too.
    /// @throws opc::Exception when the package is not open.
    virtual std::vector<Item> getStoredItems() const = 0;

    /// Reads an item as it was when the package was opened. The stream is the package's own: the same one at every call
    /// for an item, valid until the package is closed.
    /// @throws opc::Exception no_such_file_or_directory when there are not so many items; when the package is not open,
    ///         or was opened for create only.
    virtual IPhysicalInputStream* getStoredItemInputStream(std::size_t position) = 0;

    /// Determines what `IPhysicalPackage::close` saves, in one save: the items as they were when the package was
    /// opened, with these changes and no others. A later call replaces an earlier one. When parts or the content types
    /// stream were changed, too, `close` throws operation_not_permitted.
    /// @param dropsSurroundings whether what lies before, between and behind the items is left out. Else what the store
    ///        keeps of it at any other save is kept.
    /// @throws opc::Exception, without an effect: operation_not_permitted when the package is not open in read-write
    ///         mode; no_such_file_or_directory when there are not so many items; invalid_argument when two changes name
    ///         one item, a new one has no content or is deleted, or a name is empty, not UTF-8 or has a NUL;
    ///         file_exists when a new or renamed item would have the name of another one; for an exceeded limit.
    virtual void changeItems(std::vector<Change> changes, bool dropsSurroundings) = 0;
};

} // namespace opc::interfaces
