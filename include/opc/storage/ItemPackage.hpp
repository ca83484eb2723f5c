// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/interfaces/IPhysicalContentTypes.hpp>
#include <opc/core/interfaces/IPhysicalFindings.hpp>
#include <opc/core/interfaces/IPhysicalItems.hpp>
#include <opc/core/interfaces/IPhysicalOtherItems.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/IPhysicalParallelReading.hpp>
#include <opc/storage/zip/ZipItem.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace opc::storage {

/// A physical package that is made of items with names (ECMA-376-2 §7.3), whatever holds them: a ZIP file or a folder.
/// All items can be listed and read, also those that are not parts.
///
/// The functions are called like those of `IPhysicalPackage`: by one thread at a time.
class OPCRAFT_API ItemPackage : public interfaces::IPhysicalPackage,
                                public interfaces::IPhysicalOtherItems,
                                public interfaces::IPhysicalContentTypes,
                                public interfaces::IPhysicalFindings,
                                public interfaces::IPhysicalItems,
                                public interfaces::IPhysicalParallelReading {
public:
    ~ItemPackage() override;

    /// Every item in the order of the store, then new ones, without deleted ones.
    /// @throws opc::Exception bad_file_descriptor when the package is closed.
    virtual std::vector<ZipItem> getItems() const = 0;

    /// The names of the items that are not parts, in the order of the store.
    /// @throws opc::Exception bad_file_descriptor when the package is closed.
    std::vector<std::string> getOtherItems() const override;

    /// Reads an item of any kind by its exact item name. The stream is the package's own: the same one at every
    /// call for an item, valid until the package is closed.
    /// @throws opc::Exception no_such_file_or_directory when there is no such item, bad_file_descriptor when the
    ///         package is closed, operation_not_permitted when it was opened for create only.
    virtual interfaces::IPhysicalInputStream* getItemInputStream(const std::string& name) = 0;

    /// The same by the position in `getItems`: items may have equal names.
    /// @throws opc::Exception no_such_file_or_directory when there are not so many items; else as the above.
    virtual interfaces::IPhysicalInputStream* getItemInputStreamAt(std::size_t position) = 0;
};

} // namespace opc::storage
