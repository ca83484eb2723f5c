// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Exception.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>

#include "signatures/KeySizes.hpp"

#include <algorithm>
#include <map>

namespace opc::model {

namespace {

constexpr const char* UNSUPPORTED_DIGEST = "Internal error: Digest Method is not supported in algorithm map.";
constexpr const char* UNSUPPORTED_SIGNATURE = "Internal error: Signature Method is not supported in algorithm map.";

using Table = std::map<AlgorithmTag, std::u16string>;

const Table& table() {
    static const Table identifiers{
        {AlgorithmTag::DigestMD5, u"http://www.w3.org/2001/04/xmldsig-more#md5"},
        {AlgorithmTag::DigestSHA1, u"http://www.w3.org/2000/09/xmldsig#sha1"},
        {AlgorithmTag::DigestSHA224, u"http://www.w3.org/2001/04/xmldsig-more#sha224"},
        {AlgorithmTag::DigestSHA256, u"http://www.w3.org/2001/04/xmlenc#sha256"},
        {AlgorithmTag::DigestSHA384, u"http://www.w3.org/2001/04/xmldsig-more#sha384"},
        {AlgorithmTag::DigestSHA512, u"http://www.w3.org/2001/04/xmlenc#sha512"},
        {AlgorithmTag::SignatureRSAMD5, u"http://www.w3.org/2001/04/xmldsig-more#rsa-md5"},
        {AlgorithmTag::SignatureRSASHA1, u"http://www.w3.org/2000/09/xmldsig#rsa-sha1"},
        {AlgorithmTag::SignatureRSASHA224, u"http://www.w3.org/2001/04/xmldsig-more#rsa-sha224"},
        {AlgorithmTag::SignatureRSASHA256, u"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256"},
        {AlgorithmTag::SignatureRSASHA384, u"http://www.w3.org/2001/04/xmldsig-more#rsa-sha384"},
        {AlgorithmTag::SignatureRSASHA512, u"http://www.w3.org/2001/04/xmldsig-more#rsa-sha512"},
        {AlgorithmTag::CanonicalizationC14N, u"http://www.w3.org/TR/2001/REC-xml-c14n-20010315"},
    };
    return identifiers;
}

bool isDigest(AlgorithmTag tag) {
    return tag >= AlgorithmTag::DigestMD5 && tag <= AlgorithmTag::DigestSHA512;
}

bool isSignature(AlgorithmTag tag) {
    return tag >= AlgorithmTag::SignatureRSAMD5 && tag <= AlgorithmTag::SignatureRSASHA512;
}

std::int32_t valueOf(AlgorithmTag tag) {
    return static_cast<std::int32_t>(tag);
}

/// Of digest and signature tags.
DigestMethod digestOf(AlgorithmTag tag) {
    const AlgorithmTag first = isSignature(tag) ? AlgorithmTag::SignatureRSAMD5 : AlgorithmTag::DigestMD5;
    return static_cast<DigestMethod>(valueOf(tag) - valueOf(first));
}

/// The tag of a digest, counted from the first tag of its row.
AlgorithmTag tagOf(DigestMethod digestMethod, AlgorithmTag first) {
    if (digestMethod < DigestMethod::MD5 || digestMethod > DigestMethod::SHA512)
        throw Exception(UNSUPPORTED_DIGEST);
    return static_cast<AlgorithmTag>(valueOf(first) + static_cast<std::int32_t>(digestMethod));
}

} // namespace

std::u16string AlgorithmURIMap::getAlgorithmURI(AlgorithmTag tag) {
    const auto found = table().find(tag);
    if (found == table().end())
        throw Exception("Internal Error: Algorithm tag is not recognized.");
    return found->second;
}

std::u16string AlgorithmURIMap::getAlgorithmURI(DigestMethod digestMethod) {
    return getAlgorithmURI(tagOf(digestMethod, AlgorithmTag::DigestMD5));
}

std::u16string AlgorithmURIMap::getAlgorithmURI(DigestMethod digestMethod, SignatureMethod signatureMethod) {
    if (signatureMethod < SignatureMethod::RSA1024 || signatureMethod > SignatureMethod::RSA4096)
        throw Exception(UNSUPPORTED_SIGNATURE);
    return getAlgorithmURI(tagOf(digestMethod, AlgorithmTag::SignatureRSAMD5));
}

AlgorithmTag AlgorithmURIMap::getAlgorithmTag(const std::u16string& identifier) {
    const auto found = std::find_if(table().begin(), table().end(),
                                    [&identifier](const auto& entry) { return entry.second == identifier; });
    if (found == table().end())
        throw Exception("URI provided is not supported as an algorithm.");
    return found->first;
}

DigestMethod AlgorithmURIMap::getDigestMethod(const std::u16string& identifier) {
    const AlgorithmTag tag = getAlgorithmTag(identifier);
    if (!isDigest(tag))
        throw Exception(UNSUPPORTED_DIGEST);
    return digestOf(tag);
}

SignatureParams AlgorithmURIMap::getSigningParameters(const std::u16string& identifier) {
    const AlgorithmTag tag = getAlgorithmTag(identifier);
    if (!isSignature(tag))
        throw Exception(UNSUPPORTED_SIGNATURE);
    return {digestOf(tag), SignatureMethod::RSA2048};
}

unsigned toKeySize(SignatureMethod signatureMethod) {
    switch (signatureMethod) {
    case SignatureMethod::RSA1024:
        return 1024;
    case SignatureMethod::RSA2048:
        return 2048;
    case SignatureMethod::RSA4096:
        return 4096;
    }
    throw Exception("Signature Method is unsupported.");
}

SignatureMethod toSignatureMethod(unsigned keySize) {
    for (const SignatureMethod each : {SignatureMethod::RSA1024, SignatureMethod::RSA2048, SignatureMethod::RSA4096})
        if (toKeySize(each) == keySize)
            return each;
    throw Exception("Input key size is not supported as a Signature Method.");
}

} // namespace opc::model
