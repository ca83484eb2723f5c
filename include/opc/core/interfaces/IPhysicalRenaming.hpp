// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <string>

namespace opc::interfaces {

class IPhysicalPart;

/// Optional for a physical package: one that can give a part another name and keep its bytes as they are stored
/// implements this interface too. Without it, the package model copies the bytes to a new part and deletes the old one.
/// A decorator of such a package forwards it.
class OPCRAFT_API IPhysicalRenaming {
public:
    virtual ~IPhysicalRenaming();

    /// Gives a part another name. Its content stays, and so does its place among the parts. The object of the part by
    /// its old name, and its streams, are not valid any longer.
    /// @param newName may differ from the old name in case alone.
    /// @return the part by its new name; null, without an effect, when this part has to be copied.
    /// @throws opc::Exception, without an effect, as `IPhysicalPackage::createPart` and `deletePart` do.
    virtual IPhysicalPart* renamePart(const std::u16string& name, const std::u16string& newName) = 0;
};

} // namespace opc::interfaces
