// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/Package.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>
#include <opc/signatures/VerificationReport.hpp>

#include "signatures/PartDigester.hpp"

#include <string>
#include <vector>

namespace opc::model {

/// Looks up what the references of signatures name and compares it with what they claim.
///
/// For the time in which the package does not change: what it has read it does not read again. Used by one thread at a
/// time, together with the package.
class ReferenceExaminer {
public:
    explicit ReferenceExaminer(const Package& package);

    /// Those of `SignedInfo`, then those of the manifest. What is wrong stands in the reports.
    std::vector<ReferenceReport> examine(const DigitalSignatureData& signature);

    /// The Ids of the objects that no reference of `SignedInfo` leads to.
    static std::vector<std::u16string> findUncoveredObjects(const DigitalSignatureData& signature);

private:
    using ReferenceData = DigitalSignatureData::ReferenceData;

    ReferenceReport examineObject(const ReferenceData& reference, const DigitalSignatureData& signature);
    ReferenceReport examineEntry(const ReferenceData& reference);
    void examinePart(const ReferenceData& reference, const PartName& name, ReferenceReport& report);
    void examineRelationships(const ReferenceData& reference, const PartName& name, ReferenceReport& report);

    const Package& package_;
    PartDigester digester_;
};

} // namespace opc::model
