// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <string>

namespace opc::interfaces {

class IPhysicalInputStream;
class IPhysicalOutputStream;

/// One stored part.
///
/// Owned by the physical package, and valid until that is closed or the part deleted; the streams that it
/// returns are its own. Used by one thread at a time. Every failure is an `opc::Exception` with a code.
class OPCRAFT_API IPhysicalPart {
public:
    /// The part name, with its leading "/".
    virtual std::u16string getName() const = 0;

    /// The part's own media type; called only when the package has no content types stream.
    virtual std::u16string getContentType() const = 0;

    /// The same stream at every call.
    virtual IPhysicalInputStream* getInputStream() = 0;

    /// The same stream at every call.
    virtual IPhysicalOutputStream* getOutputStream() = 0;

    virtual ~IPhysicalPart();
};

} // namespace opc::interfaces
