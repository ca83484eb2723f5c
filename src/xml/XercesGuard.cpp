// SPDX-License-Identifier: Apache-2.0
#include <opc/xml/XercesGuard.hpp>

#include "xml/XercesMemory.hpp"

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include <cstddef>
#include <new>
#include <optional>

namespace opc::model {

namespace {

/// Never destroyed, so that a guard in a static object may go at any time.
boost::mutex& xercesMutex() {
    static boost::mutex& mutex = *new boost::mutex;
    return mutex;
}

/// The guards there are; without one, Xerces is initialised.
std::size_t guards = 0;

void initialize() {
    std::optional<InitializationReserve> kept;
    if (guards == 0)
        kept.emplace();
    xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, nullptr,
                                          &XercesMemory::instance());
    ++guards;
}

void terminate() {
    const ReserveUse reserve; // this allocates, too
    xercesc::XMLPlatformUtils::Terminate();
    --guards;
}

} // namespace

XercesGuard::XercesGuard() {
    const boost::lock_guard<boost::mutex> lock(xercesMutex());
    const ReserveUse reserve;
    initialize();
    try {
        ReserveUse::throwIfDrawnOn();
    } catch (const std::bad_alloc&) {
        terminate();
        throw;
    }
}

XercesGuard::~XercesGuard() {
    try {
        const boost::lock_guard<boost::mutex> lock(xercesMutex());
        terminate();
    } catch (const boost::lock_error&) {
        // Xerces then stays initialised, which harms nothing.
    }
}

} // namespace opc::model
