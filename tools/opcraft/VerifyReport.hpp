// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Tool.hpp"

#include <opc/signatures/Judgement.hpp>

#include <string>

namespace opcraft {

/// What `verify` says of a file.
struct VerifyReport {
    std::string file;
    opc::model::PackageJudgement judgement{};
    opc::model::RequiredCoverage required = opc::model::RequiredCoverage::Content;
    bool allowsUntrusted = false;
    bool namesSigners = false;        ///< since whoever has a certificate of the system's authorities is trusted
    bool showsValidationTime = false; ///< since another time than now was asked for
};

/// Why a certificate is not trusted; may be empty.
std::string doubtText(const opc::model::SignatureJudgement& judgement);

/// In the words of the options.
std::string objectionText(const opc::model::Objection& objection);

/// @param explain true: with every reference, and all names.
std::string toText(const VerifyReport& report, bool explain);
Json toJson(const VerifyReport& report);

} // namespace opcraft
