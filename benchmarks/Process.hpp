// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Comparison.hpp"

#include <string>
#include <vector>

namespace opc::benchmarks {

/// Runs a program to its end.
/// @return what it wrote to its standard output.
/// @throws std::runtime_error when it cannot be started or its exit code is not 0.
std::string runProgram(const std::vector<std::string>& arguments);

/// A whole process, from its start to its end.
Side wholeProcess(std::vector<std::string> arguments);

/// A task of `runHugeTask`, which measures itself.
Side hugeTask(const std::string& task, const std::string& file);

/// A task of `measure.py`, which measures itself, too.
Side pythonTask(const std::string& task, const std::string& file);

/// The most memory that this process held until now.
std::uint64_t peakOfThisProcess();

} // namespace opc::benchmarks
