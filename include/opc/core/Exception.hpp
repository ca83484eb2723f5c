// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/ErrorPlace.hpp>
#include <opc/core/Export.hpp>

#include <boost/system/error_code.hpp>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace opc {

/// The base of every error that the libraries report: a message, a Boost.System error code, and for an error in the
/// content of an item its place.
///
/// A physical package throws it directly, with a code that compares with the generic conditions
/// (`e.code() == boost::system::errc::permission_denied`). The classes of `opc::model` derive from it.
/// A value: it owns its message and may be copied to another thread. Copying throws nothing.
class OPCRAFT_API Exception : public std::runtime_error {
public:
    /// @param message UTF-8; what `what()` returns.
    /// @param code of the underlying failure; the default code (value 0, system category) when there is none.
    explicit Exception(const std::string& message, const boost::system::error_code& code = {});
    ~Exception() override;

    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;

    const boost::system::error_code& code() const noexcept { return code_; }

    /// The place of the error in an item of the package; null when there is none.
    std::shared_ptr<const ErrorPlace> getPlace() const noexcept { return place_; }
    void setPlace(std::shared_ptr<const ErrorPlace> place) noexcept { place_ = std::move(place); }

private:
    boost::system::error_code code_;
    std::shared_ptr<const ErrorPlace> place_;
};

} // namespace opc
