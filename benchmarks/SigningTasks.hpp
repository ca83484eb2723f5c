// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>

namespace opc::benchmarks {

/// What a process of its own does with a file.
using Task = std::function<void(const std::filesystem::path&)>;

std::map<std::string, Task> signingTasks();

} // namespace opc::benchmarks
