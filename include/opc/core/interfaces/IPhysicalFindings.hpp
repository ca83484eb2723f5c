// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/interfaces/OpenMode.hpp>

namespace opc {
class FindingSink;
}

namespace opc::interfaces {

/// Optional for a physical package: one that can be opened although something in its structure is wrong implements this
/// interface too. `model::Package::open` with a sink then opens it so. A decorator of such a package forwards it.
class OPCRAFT_API IPhysicalFindings {
public:
    virtual ~IPhysicalFindings();

    /// Opens as `IPhysicalPackage::open` does, but hands to the sink what makes that one refuse the package, where all
    /// else can be read. Of two items for one part, neither is a part then; nothing is changed by the opening itself.
    /// @param sink used during this call only.
    /// @throws opc::Exception as `IPhysicalPackage::open` where nothing can be read.
    virtual void openTolerantly(const OpenMode& mode, FindingSink& sink) = 0;

    /// Hands to the sink what `IPhysicalPackage::open` does not refuse but other readers may read differently, and what
    /// is against the format. Each item tells its first fault of a kind; the order is that of the store.
    /// @param readsContents whether every item is read to its end, so that damaged content is found, too.
    /// @throws opc::Exception when the package is not open, for a failure of the system and for an exceeded limit.
    virtual void findAmbiguities(FindingSink& sink, bool readsContents) = 0;
};

} // namespace opc::interfaces
