// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/Package.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>
#include <opc/signatures/VerificationReport.hpp>

#include "signatures/PartDigester.hpp"
#include "signatures/SignatureFormRules.hpp"

#include <string>
#include <vector>

namespace opc::model {

/// Resolves the references of signatures and compares their targets with what was signed.
///
/// Caches digests, so the package must not change during its lifetime. Used by one thread, together with the package.
class ReferenceExaminer {
public:
    explicit ReferenceExaminer(const Package& package);

    /// The references of `SignedInfo`, then those of the manifest. Faults are in the reports.
    std::vector<ReferenceReport> examine(const DigitalSignatureData& signature);

    /// The Ids of the objects that no reference of `SignedInfo` covers.
    static std::vector<std::u16string> findUncoveredObjects(const DigitalSignatureData& signature);

private:
    using ReferenceData = DigitalSignatureData::ReferenceData;

    ReferenceReport examineObject(const ReferenceData& reference, const DigitalSignatureData& signature,
                                  const SignatureFormRules& form);
    ReferenceReport examineEntry(const ReferenceData& reference, const SignatureFormRules& form);
    void examinePart(const ReferenceData& reference, const PartName& name, ReferenceReport& report);
    void examineRelationships(const ReferenceData& reference, const PartName& name, const SignatureFormRules& form,
                              ReferenceReport& report);

    const Package& package_;
    PartDigester digester_;
};

} // namespace opc::model
