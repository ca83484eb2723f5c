// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

namespace opc::model {

/// Keeps Xerces-C initialised for its own lifetime.
///
/// Guards nest, since Xerces counts its initialisations. The owner of a parser, a writer, a document or a
/// `XercesString` has a guard of its own that is created before it and destroyed after it. The first guard of a process
/// initialises Xerces, which takes a millisecond, and Xerces then stays initialised as long as the process lives.
/// May be created and destroyed on any thread: initialising and terminating is serialised by one process-wide mutex.
class OPCRAFT_API XercesGuard {
public:
    /// Xerces terminates the process when it gets no memory for its initialisation.
    /// @throws boost::lock_error when the mutex cannot be locked.
    XercesGuard();
    ~XercesGuard();

    XercesGuard(const XercesGuard&) = delete;
    XercesGuard& operator=(const XercesGuard&) = delete;
};

} // namespace opc::model
