// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/AlgorithmURIMap.hpp>

#include <opc/core/Exception.hpp>

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

/// The digest of a digest or signature tag.
DigestMethod digestOf(AlgorithmTag tag) {
    const AlgorithmTag first = isSignature(tag) ? AlgorithmTag::SignatureRSAMD5 : AlgorithmTag::DigestMD5;
    return static_cast<DigestMethod>(valueOf(tag) - valueOf(first));
}

/// @param first the tag of MD5: of its digest, or of its signature.
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

} // namespace opc::model
