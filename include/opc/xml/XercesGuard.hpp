// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

namespace opc::model {

/// Keeps Xerces-C initialised for its own lifetime.
///
/// Guards nest, since Xerces counts its initialisations. Whoever keeps a parser, a writer, a document or a
/// `XercesString` keeps a guard of its own that was made before it and goes after it. A pair that is not nested in
/// another costs a millisecond, so a long-lived owner of XML objects holds one throughout.
/// May be made and destroyed on any thread: initialising and terminating is serialised by one process-wide mutex.
class OPCRAFT_API XercesGuard {
public:
    /// Xerces ends the process when it finds no memory to be initialised in.
    /// @throws boost::lock_error when the mutex cannot be locked.
    XercesGuard();
    ~XercesGuard();

    XercesGuard(const XercesGuard&) = delete;
    XercesGuard& operator=(const XercesGuard&) = delete;
};

} // namespace opc::model
