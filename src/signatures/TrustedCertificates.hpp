// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/TrustStore.hpp>

namespace opc::model {

/// Whom a caller trusts: those in the store; when it is empty, those that the system trusts.
inline certificates::TrustStore trustedBy(certificates::TrustStore store) {
    if (store.isEmpty())
        store.addSystemCertificates();
    return store;
}

} // namespace opc::model
