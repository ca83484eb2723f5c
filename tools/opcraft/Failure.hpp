// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>

#include <exception>
#include <string>

namespace opcraft {

/// What the exit code tells a script. The values are a contract.
enum class ExitCode : int {
    Fine = 0,
    Findings = 1,     ///< the tool did its work and has something to object to
    NotProcessed = 2, ///< the input could not be processed, or the result not be written
    WrongUsage = 64,  ///< the command line itself is wrong, whatever the file holds
};

/// Ends a command with one line for the user: the file, the part where there is one, and the reason. What is left
/// empty is filled in where the command is run.
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

/// A library error as a failure: with the place that it tells of, or, where it tells of none, with the given part. The
/// library names file and part in its message too: they are said once.
Failure toFailure(const opc::Exception& error, const std::string& file, const std::string& part,
                  ExitCode exitCode = ExitCode::NotProcessed);

/// Wrong usage: an argument that no package could make right.
Failure wrongArgument(const std::string& argument, const std::string& reason);

/// The system's text for an error number.
std::string systemReason(int number);

} // namespace opcraft
