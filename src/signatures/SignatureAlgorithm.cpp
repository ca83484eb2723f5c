// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/SignatureAlgorithm.hpp>

#include <opc/core/Exception.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace opc::model {

namespace {

using crypto::KeyKind;

struct Row {
    KeyKind keyKind;
    DigestMethod digestMethod;
    std::u16string_view identifier;
};

/// Those of RSA are in `AlgorithmURIMap`.
constexpr Row ROWS[] = {
    {KeyKind::EC, DigestMethod::SHA1, u"http://www.w3.org/2001/04/xmldsig-more#ecdsa-sha1"},
    {KeyKind::EC, DigestMethod::SHA224, u"http://www.w3.org/2001/04/xmldsig-more#ecdsa-sha224"},
    {KeyKind::EC, DigestMethod::SHA256, u"http://www.w3.org/2001/04/xmldsig-more#ecdsa-sha256"},
    {KeyKind::EC, DigestMethod::SHA384, u"http://www.w3.org/2001/04/xmldsig-more#ecdsa-sha384"},
    {KeyKind::EC, DigestMethod::SHA512, u"http://www.w3.org/2001/04/xmldsig-more#ecdsa-sha512"},
    {KeyKind::DSA, DigestMethod::SHA1, u"http://www.w3.org/2000/09/xmldsig#dsa-sha1"},
    {KeyKind::DSA, DigestMethod::SHA256, u"http://www.w3.org/2009/xmldsig11#dsa-sha256"},
};

/// What the identifiers of other methods hold (RFC 9231 §2.2, §2.3; RFC 4491 for GOST).
constexpr std::pair<std::u16string_view, const char*> UNSUPPORTED[] = {
    {u"#hmac-", "HMAC"},
    {u"#rsa-pss", "RSA-PSS"},
    {u"-rsa-MGF1", "RSA-PSS"},
    {u"rsa-ripemd160", "RSA with RIPEMD-160"},
    {u"#rsa-whirlpool", "RSA with Whirlpool"},
    {u"#ecdsa-ripemd160", "ECDSA with RIPEMD-160"},
    {u"#ecdsa-whirlpool", "ECDSA with Whirlpool"},
    {u"#ecdsa-sha3-", "ECDSA with SHA-3"},
    {u"#eddsa-", "EdDSA"},
    {u"#esign-", "ESIGN"},
    {u"gostr3410", "GOST R 34.10"},
};

std::u16string findIdentifier(KeyKind keyKind, DigestMethod digestMethod) {
    if (keyKind == KeyKind::RSA)
        return AlgorithmURIMap::getAlgorithmURI(digestMethod, SignatureMethod::RSA2048);
    const auto* row = std::find_if(std::begin(ROWS), std::end(ROWS), [&](const Row& each) {
        return each.keyKind == keyKind && each.digestMethod == digestMethod;
    });
    if (row == std::end(ROWS))
        throw Exception("There is no signature method for this kind of key with this digest.");
    return std::u16string(row->identifier);
}

} // namespace

SignatureAlgorithm SignatureAlgorithm::of(const std::u16string& identifier) {
    const auto* row =
        std::find_if(std::begin(ROWS), std::end(ROWS), [&](const Row& each) { return each.identifier == identifier; });
    if (row != std::end(ROWS))
        return {identifier, row->keyKind, row->digestMethod, 0};
    try {
        return {identifier, KeyKind::RSA, AlgorithmURIMap::getSigningParameters(identifier).getDigestMethod(), 0};
    } catch (const Exception&) { // not of RSA
        return {identifier, std::nullopt, std::nullopt, 0};
    }
}

SignatureAlgorithm SignatureAlgorithm::of(KeyKind keyKind, DigestMethod digestMethod) {
    return {findIdentifier(keyKind, digestMethod), keyKind, digestMethod, 0};
}

std::string SignatureAlgorithm::findUnsupportedName(const std::u16string& identifier) {
    const auto* found = std::find_if(std::begin(UNSUPPORTED), std::end(UNSUPPORTED), [&](const auto& each) {
        return identifier.find(each.first) != std::u16string::npos;
    });
    return found == std::end(UNSUPPORTED) ? std::string() : found->second;
}

} // namespace opc::model
