// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/ErrorPlace.hpp>
#include <opc/core/Exception.hpp>

#include <opcraft/opcraft.h>

#include <exception>
#include <string>
#include <type_traits>

namespace opc::c {

/// An argument that the function does not take.
[[noreturn]] void throwInvalidArgument(const std::string& message);

/// Fails with a value of errno.h that a callback returned.
void throwIfFailed(int value, const std::string& message);

/// An exception that a callback has caused.
struct CallbackFailure {
    std::exception_ptr cause;
    int value; ///< of errno.h
};

/// Stores the exception that is being handled; nothing when `error` is null.
void storeError(opcraft_error** error) noexcept;

/// Every function of the interface that can fail is such an action: no exception leaves it.
/// @param failed what is returned after a failure.
template <class Action, class Value = std::invoke_result_t<Action>>
Value guarded(opcraft_error** error, Value failed, Action action) noexcept {
    if (error != nullptr)
        *error = nullptr;
    try {
        return action();
    } catch (...) {
        storeError(error);
        return failed;
    }
}

/// An action that returns nothing: true unless it throws.
template <class Action>
bool guardedChange(opcraft_error** error, Action action) noexcept {
    return guarded(
        error, false,
        [&] {
            action();
            return true;
        });
}

/// The object of a pointer that must not be null.
template <class Object>
Object& required(Object* object, const char* name) {
    if (object == nullptr)
        throwInvalidArgument(std::string(name) + " is NULL");
    return *object;
}

} // namespace opc::c
