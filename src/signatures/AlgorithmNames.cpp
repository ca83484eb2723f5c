// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/AlgorithmNames.hpp>

#include <opc/core/Exception.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>

#include <algorithm>
#include <array>
#include <iterator>

namespace opc::model {

namespace {

constexpr DigestMethod WEAK_DIGESTS[] = {DigestMethod::MD5, DigestMethod::SHA1};
constexpr unsigned LEAST_SAFE_BITS = 2048; // of RSA and DSA

bool isWeak(const std::optional<DigestMethod>& method) {
    return std::find(std::begin(WEAK_DIGESTS), std::end(WEAK_DIGESTS), method) != std::end(WEAK_DIGESTS);
}

} // namespace

std::string getDigestName(DigestMethod method) {
    constexpr std::array names = {"MD5", "SHA-1", "SHA-224", "SHA-256", "SHA-384", "SHA-512"};
    return names.at(static_cast<std::size_t>(method));
}

std::string getKeyName(const SignatureAlgorithm& algorithm) {
    constexpr std::array names = {"RSA", "ECDSA", "DSA"};
    const std::string kind = names.at(static_cast<std::size_t>(algorithm.keyKind.value()));
    if (algorithm.keySize == 0)
        return kind;
    const std::string size = std::to_string(algorithm.keySize);
    return algorithm.keyKind == crypto::KeyKind::EC ? kind + " on P-" + size : kind + " with " + size + " bits";
}

std::optional<DigestMethod> findDigestMethod(const std::u16string& identifier) {
    try {
        return AlgorithmURIMap::getDigestMethod(identifier);
    } catch (const Exception&) {
        return std::nullopt;
    }
}

std::string findWeakDigestName(const std::u16string& identifier) {
    const auto method = findDigestMethod(identifier);
    return isWeak(method) ? getDigestName(*method) : std::string();
}

std::vector<std::string> findWeakNames(const SignatureAlgorithm& algorithm) {
    std::vector<std::string> names;
    if (algorithm.keyKind && algorithm.keyKind != crypto::KeyKind::EC && algorithm.keySize != 0 &&
        algorithm.keySize < LEAST_SAFE_BITS)
        names.push_back(getKeyName(algorithm));
    if (isWeak(algorithm.digestMethod))
        names.push_back(getDigestName(*algorithm.digestMethod));
    return names;
}

} // namespace opc::model
