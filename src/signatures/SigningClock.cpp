// SPDX-License-Identifier: Apache-2.0
#include "signatures/SigningClock.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>

#include <utility>

namespace opc::model {

namespace {

std::function<boost::posix_time::ptime()>& clock() {
    static std::function<boost::posix_time::ptime()> current;
    return current;
}

} // namespace

boost::posix_time::ptime signingTime() {
    return clock() ? clock()() : boost::posix_time::microsec_clock::universal_time();
}

void setSigningClock(std::function<boost::posix_time::ptime()> replacement) {
    clock() = std::move(replacement);
}

} // namespace opc::model
