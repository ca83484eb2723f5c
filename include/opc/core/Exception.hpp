// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <boost/system/error_code.hpp>

#include <stdexcept>
#include <string>

namespace opc {

/// The base of every error that the libraries report: a message and a Boost.System error code.
///
/// A physical package throws it directly, with a code that compares with the generic conditions
/// (`e.code() == boost::system::errc::permission_denied`). The classes of `opc::model` derive from it.
/// A value: it owns its message and may be copied to another thread.
class OPCRAFT_API Exception : public std::runtime_error {
public:
    /// @param message UTF-8; what `what()` returns.
    /// @param code what failed underneath; the default code (value 0, system category) where nothing did.
    explicit Exception(const std::string& message, const boost::system::error_code& code = {});
    ~Exception() override;

    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;

    const boost::system::error_code& code() const noexcept { return code_; }

private:
    boost::system::error_code code_;
};

} // namespace opc
