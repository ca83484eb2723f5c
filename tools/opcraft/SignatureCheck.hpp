// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <opc/storage/zip/ZipPackage.hpp>

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace opcraft {

/// A signature and what came of looking at it.
struct CheckedSignature {
    opc::model::DigitalSignature signature;
    std::optional<opc::model::SignatureReport> report{}; ///< none when it cannot be verified at all
    std::string problem{};                               ///< why not

    bool holds() const noexcept { return report && report->isSignatureValid(); }
};

/// Checks every signature of a package by what it carries.
std::vector<CheckedSignature> checkSignatures(const opc::model::DigitalSignatureManager& manager,
                                              const opc::certificates::CertificateValidationOptions& options,
                                              const opc::certificates::TrustStore& trust);

/// Checks every signature of a package by one public key.
std::vector<CheckedSignature> checkSignatures(const opc::model::DigitalSignatureManager& manager,
                                              const std::vector<unsigned char>& publicKey);

/// The names of the signatures of a stored package; none when they cannot be read.
std::vector<std::string> readSignatureNames(opc::storage::ZipPackage& zip, const opc::Limits& limits);

/// The names of the signatures of a stored package that name all of its content, whether they hold or not; none when
/// they cannot be read.
std::set<std::string> findCompleteSignatures(opc::storage::ZipPackage& zip, const opc::Limits& limits);

/// Those of some signatures that a stored package does not have any longer, or that do not hold in it; who signed does
/// not matter. When the package's signatures cannot be read, these are all.
std::vector<std::string> findBrokenSignatures(opc::storage::ZipPackage& zip, const opc::Limits& limits,
                                              const std::vector<std::string>& names);

} // namespace opcraft
