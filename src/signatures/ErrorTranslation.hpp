// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/errors/Errors.hpp>

namespace opc::model {

/// Runs a step of an operation and translates exceptions of lower layers to the error of the operation, with the same
/// message. `NotImplemented` passes unchanged.
template <class Error, class Action>
auto translatingErrorsTo(Action action) -> decltype(action()) {
    try {
        return action();
    } catch (const Error&) {
        throw;
    } catch (const NotImplemented&) {
        throw;
    } catch (const Exception& e) {
        throw Error(e.what());
    }
}

} // namespace opc::model
