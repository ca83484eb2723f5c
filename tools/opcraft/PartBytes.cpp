// SPDX-License-Identifier: Apache-2.0
#include "opcraft/PartBytes.hpp"

#include "opcraft/Text.hpp"

namespace opcraft {

Failure readFailure(const opc::Exception& error, const std::string& file, const opc::model::Part& part) {
    const std::string name = toUtf8(part.getName().toString());
    return {ExitCode::NotProcessed, file, name, toFailure(error, file, name.substr(1)).what()};
}

} // namespace opcraft
