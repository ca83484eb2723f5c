// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>

#include <memory>
#include <string>
#include <utility>

namespace opc::model {

/// Throws an error of a class that takes a message alone, with its place, which may be null.
template <class Error>
[[noreturn]] void throwAt(std::shared_ptr<const ErrorPlace> place, const std::string& message) {
    Error error(message);
    error.setPlace(std::move(place));
    throw error;
}

/// Throws what was caught as another class, with its message and place.
template <class Error>
[[noreturn]] void throwAs(const Exception& caught) {
    throwAt<Error>(caught.getPlace(), caught.what());
}

/// The place of an error that lies in an item; one that names an item already stays as it is.
std::shared_ptr<const ErrorPlace> placeInItem(const Exception& error, const std::string& item);

} // namespace opc::model
