// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/DigitalSignatureData.hpp>

#include "signatures/Base64.hpp"
#include "signatures/XmlText.hpp"

namespace opc::model {

/// The certificate of a signature and its chain (XML-DSig §4.4.4).
inline void writeX509Data(XmlText& xml, const DigitalSignatureData& signature) {
    xml.start("X509Data", {});
    xml.element("X509Certificate", toBase64(signature.certificate.toDER()));
    for (const auto& certificate : signature.certificateChain.getCertificates())
        xml.element("X509Certificate", toBase64(certificate.toDER()));
    xml.end();
}

} // namespace opc::model
