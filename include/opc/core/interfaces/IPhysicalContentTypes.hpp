// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/PlainContentTypes.hpp>

#include <memory>

namespace opc::interfaces {

/// Optional for a physical package: one that reads its content types stream when it is opened, to find its parts,
/// implements this interface too. The package model then takes what was read, and does not read the stream again.
/// A decorator of such a package forwards it, unless it delivers another stream.
class OPCRAFT_API IPhysicalContentTypes {
public:
    virtual ~IPhysicalContentTypes();

    /// Gives away what `detail::readPlainContentTypes` returned for the content types stream as it was stored.
    /// @return null when the stream has to be read: when it is not plain or could not be read, when it was written
    ///         since, and after the first call.
    /// @throws opc::Exception when the physical package is not open.
    virtual std::unique_ptr<detail::ContentTypeTable> takeContentTypes() = 0;
};

} // namespace opc::interfaces
