// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>

namespace opc::benchmarks {

/// The path of a file in a folder of this process's own, which goes with it. Below TMPDIR, or where the system puts
/// temporary files.
std::filesystem::path workFile(const std::string& name);

} // namespace opc::benchmarks
