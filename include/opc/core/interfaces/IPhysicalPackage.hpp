// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/interfaces/OpenMode.hpp>

#include <string>
#include <vector>

namespace opc::interfaces {

class IPhysicalInputStream;
class IPhysicalOutputStream;
class IPhysicalPart;
class IPhysicalPartInfo;

/// A store of named byte streams (ECMA-376-2 §7, the physical package), on which the package model operates.
///
/// The calling order of one lifetime is `open`; then `hasContentTypeStream`, `getContentTypeInputStream` (not
/// for a created package) and `getParts`; part and stream operations; on a flush `getContentTypeOutputStream`;
/// finally `close`. The package owns all objects that it returns; pointers stay valid until it is closed or, for a
/// part and its streams, until the part is deleted. Used by one thread at a time.
///
/// Every failure is an `opc::Exception` whose code compares with the generic conditions: the model distinguishes a
/// missing file at `open` (ENOENT) and a refused permission at `close` (EACCES) from all others. A `createPart` that
/// fails leaves no part. A `deletePart` that fails may be tried again; ENOENT means then that the part is deleted.
///
/// A store that keeps items that are not parts implements `IPhysicalOtherItems` too, one that reads several parts at
/// the same time, `IPhysicalParallelReading`, and one that reads its content types itself, `IPhysicalContentTypes`; one
/// that opens although something in it is wrong, `IPhysicalFindings`, and one whose items can then be changed below the
/// parts, `IPhysicalItems`; one that renames parts without copying them, `IPhysicalRenaming`.
class OPCRAFT_API IPhysicalPackage {
public:
    virtual ~IPhysicalPackage();

    /// True when the kind of store keeps content types in a content types stream. Does not depend on
    /// what is stored.
    virtual bool hasContentTypeStream() const = 0;

    /// The content types stream as it was stored, or as it was last written.
    virtual IPhysicalInputStream* getContentTypeInputStream() = 0;

    /// Receives a new content types stream.
    virtual IPhysicalOutputStream* getContentTypeOutputStream() = 0;

    /// Every stored part in the store's order, including relationships parts, without the content types stream.
    virtual std::vector<IPhysicalPart*> getParts() = 0;

    virtual void open(const OpenMode& mode) = 0;

    /// Saves the changes, or with `discard` drops them, and closes. A failed close leaves the package open,
    /// with all changes, so that it can be tried again; the stored package is unchanged.
    virtual void close(bool discard) = 0;

    /// Creates an empty part.
    virtual IPhysicalPart* createPart(const std::u16string& name, const std::u16string& contentType,
                                      const IPhysicalPartInfo& info) = 0;

    virtual void deletePart(const std::u16string& name) = 0;
};

} // namespace opc::interfaces
