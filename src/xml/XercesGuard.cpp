// SPDX-License-Identifier: Apache-2.0
#include <opc/xml/XercesGuard.hpp>

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <xercesc/util/PlatformUtils.hpp>

namespace opc::model {

namespace {

/// Never destroyed, so that a guard in a static object may be destroyed at any time.
boost::mutex& xercesMutex() {
    static boost::mutex& mutex = *new boost::mutex;
    return mutex;
}

} // namespace

XercesGuard::XercesGuard() {
    const boost::lock_guard<boost::mutex> lock(xercesMutex());
    static bool isKept = false;
    if (!isKept)
        xercesc::XMLPlatformUtils::Initialize(); // once more than it is terminated
    isKept = true;
    xercesc::XMLPlatformUtils::Initialize();
}

XercesGuard::~XercesGuard() {
    try {
        const boost::lock_guard<boost::mutex> lock(xercesMutex());
        xercesc::XMLPlatformUtils::Terminate();
    } catch (const boost::lock_error&) {
        // Xerces then stays initialised, which is harmless.
    }
}

} // namespace opc::model
