// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace opc::benchmarks {

void registerOpening();
void registerSaving();
void registerLookUps();
void registerNames();
void registerHugeParts();
void registerSigning();
void registerTool();
void registerPython();

/// What a comparison of huge parts measures runs in a process of its own, so that its memory can be measured: this is
/// the main function of such a process.
/// @return the exit code.
int runHugeTask(const std::string& task, const std::string& file);

} // namespace opc::benchmarks
