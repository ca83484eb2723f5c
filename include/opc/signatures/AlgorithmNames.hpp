// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/signatures/DigestMethod.hpp>
#include <opc/signatures/SignatureAlgorithm.hpp>

#include <optional>
#include <string>
#include <vector>

/// Algorithms as reports name them, and which of them are weak: MD5, SHA-1, and keys of RSA and DSA with fewer than
/// 2048 bits. May be called from any thread.
namespace opc::model {

/// "SHA-256".
/// @throws std::out_of_range for a value that is not an enumerator.
OPCRAFT_API std::string getDigestName(DigestMethod method);

/// "RSA with 2048 bits", "ECDSA on P-256"; "RSA" when the size is not known.
/// @param algorithm whose kind of key is known.
OPCRAFT_API std::string getKeyName(const SignatureAlgorithm& algorithm);

/// The method with an identifier; none when it is not known.
OPCRAFT_API std::optional<DigestMethod> findDigestMethod(const std::u16string& identifier);

/// The name of a weak digest; empty for any other.
/// @param identifier its URI.
OPCRAFT_API std::string findWeakDigestName(const std::u16string& identifier);

/// The names of the weak ones of the key and the digest of a signature value.
OPCRAFT_API std::vector<std::string> findWeakNames(const SignatureAlgorithm& algorithm);

} // namespace opc::model
