// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Failure.hpp"

#include <opc/core/InputStream.hpp>
#include <opc/model/Part.hpp>

#include <string>
#include <vector>

namespace opcraft {

/// Calls an action with every block of a part's bytes: `action(const unsigned char*, std::size_t)`.
template <class Action>
void forEachBlock(const opc::model::Part& part, Action action) {
    opc::InputStream& stream = *part.getInputStream();
    stream.open();
    std::vector<unsigned char> block(64 * 1024);
    while (const unsigned long count = stream.read(block.data(), block.size()))
        action(block.data(), count);
    stream.close();
}

/// An error of reading a part of a file. The library names the ZIP item in its message: that is said once.
Failure readFailure(const opc::Exception& error, const std::string& file, const opc::model::Part& part);

} // namespace opcraft
