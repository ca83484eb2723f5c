// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/ErrorPlace.hpp>
#include <opc/core/Exception.hpp>

#include <exception>
#include <string>

namespace opcraft {

/// What the exit code tells a script. The values are a contract.
enum class ExitCode : int {
    Fine = 0,
    Findings = 1,     ///< the command did its work and found something to report: an invalid signature, a part in use
    NotProcessed = 2, ///< the input could not be processed, or the result not be written
    WrongUsage = 64,  ///< the command line itself is wrong, whatever the file holds
};

/// Ends a command with one line for the user: the file, the part where there is one, and the reason. A file and part
/// left empty are those of the command line.
class Failure : public std::exception {
public:
    Failure(ExitCode exitCode, std::string file, std::string part, std::string reason);

    ExitCode getExitCode() const noexcept { return exitCode_; }
    /// The reason alone.
    const char* what() const noexcept override { return reason_.c_str(); }
    /// "FILE: PART: reason", without the end of the line.
    std::string getLine(const std::string& defaultFile, const std::string& defaultPart) const;

private:
    ExitCode exitCode_;
    std::string file_;
    std::string part_;
    std::string reason_;
};

/// A library error as a failure: with the place that the error has, or else with the given part. The library also names
/// file and part in its message: these repetitions are removed.
Failure toFailure(const opc::Exception& error, const std::string& file, const std::string& part,
                  ExitCode exitCode = ExitCode::NotProcessed);

/// A warning of what is wrong at a place, with the place's reason: "FILE: ITEM, line 2, column 3: warning: …".
std::string warningLine(const std::string& file, const opc::ErrorPlace& place);

/// Wrong usage: an argument that is invalid whatever the package holds.
Failure wrongArgument(const std::string& argument, const std::string& reason);

/// The system's text for an error number.
std::string systemReason(int number);

} // namespace opcraft
