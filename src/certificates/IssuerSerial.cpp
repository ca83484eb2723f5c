// SPDX-License-Identifier: Apache-2.0
#include "certificates/IssuerSerial.hpp"

#include "certificates/X509Impl.hpp"

namespace opc::certificates {

namespace {

inline void freeNames(GENERAL_NAMES* names) {
    GENERAL_NAMES_free(names);
}
using Names = crypto::Owned<GENERAL_NAMES, freeNames>;

std::string distinguishedNameIn(const GENERAL_NAMES* names) {
    for (int i = 0; i < sk_GENERAL_NAME_num(names); ++i)
        if (const GENERAL_NAME* name = sk_GENERAL_NAME_value(names, i); name->type == GEN_DIRNAME)
            return toText(name->d.directoryName);
    return {};
}

} // namespace

IssuerSerial readIssuerSerial(const std::vector<unsigned char>& der) {
    const crypto::ErrorScope errors;
    const unsigned char* position = der.data();
    const crypto::TypeSequence parts(d2i_ASN1_SEQUENCE_ANY(nullptr, &position, static_cast<long>(der.size())));
    errors.require(parts && position == der.data() + der.size() && sk_ASN1_TYPE_num(parts.get()) == 2,
                   "The bytes are not an issuer and a serial number");
    const ASN1_TYPE* const issuer = sk_ASN1_TYPE_value(parts.get(), 0);
    const ASN1_TYPE* const number = sk_ASN1_TYPE_value(parts.get(), 1);
    const Names names(static_cast<GENERAL_NAMES*>(ASN1_TYPE_unpack_sequence(ASN1_ITEM_rptr(GENERAL_NAMES), issuer)));
    errors.require(names && (number->type == V_ASN1_INTEGER || number->type == V_ASN1_NEG_INTEGER),
                   "The bytes are not an issuer and a serial number");
    return {distinguishedNameIn(names.get()), toDecimal(number->value.integer)};
}

} // namespace opc::certificates
