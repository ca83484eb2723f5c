// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Tool.hpp"

/// One function for each command, in a file of its name, which registers it.
namespace opcraft {

void addInfoCommand(Tool& tool);
void addListCommand(Tool& tool);
void addRelsCommand(Tool& tool);
void addCatCommand(Tool& tool);
void addExtractCommand(Tool& tool);
void addDiffCommand(Tool& tool);
void addTextCommand(Tool& tool);
void addGraphCommand(Tool& tool);
void addHelpCommand(Tool& tool);
void addLintCommand(Tool& tool);
void addRepairCommand(Tool& tool);
void addNewCommand(Tool& tool);
void addPackCommand(Tool& tool);
void addAddCommand(Tool& tool);
void addPutCommand(Tool& tool);
void addMvCommand(Tool& tool);
void addCpCommand(Tool& tool);
void addRetypeCommand(Tool& tool);
void addRmCommand(Tool& tool);
void addRelateCommand(Tool& tool);
void addUnrelateCommand(Tool& tool);
void addPropsCommand(Tool& tool);
void addThumbnailCommand(Tool& tool);
void addSignCommand(Tool& tool);
void addVerifyCommand(Tool& tool);
void addSignaturesCommand(Tool& tool);
void addCountersignCommand(Tool& tool);
void addUnsignCommand(Tool& tool);

} // namespace opcraft
