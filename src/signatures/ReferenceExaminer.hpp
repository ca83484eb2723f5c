// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/Package.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>
#include <opc/signatures/VerificationReport.hpp>

#include "signatures/PartDigester.hpp"
#include "signatures/SignatureFormRules.hpp"

#include <cstddef>
#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace opc::model {

/// Which references are in a report.
enum class ReportDetail {
    Full,
    Faults, ///< those of `SignedInfo`, and of the manifest those that are not valid: enough for a status
};

/// Resolves the references of signatures and compares their targets with what was signed.
///
/// Caches digests, so the package must not change during its lifetime. Used by one thread, together with the package.
class ReferenceExaminer {
public:
    /// @param strict whether relationships are read as the standard says only.
    explicit ReferenceExaminer(const Package& package, bool strict = false, ReportDetail detail = ReportDetail::Full);

    /// The references of `SignedInfo`, then those of the manifest. Faults are in the reports.
    std::vector<ReferenceReport> examine(const DigitalSignatureData& signature);

    /// The octets that a reference digests.
    /// @param index among the references of `SignedInfo` and then those of the manifest.
    /// @throws opc::Exception when there is no such reference, or they cannot be read.
    std::vector<unsigned char> octetsOf(const DigitalSignatureData& signature, std::size_t index) const;

    /// The Ids of the objects that no reference of `SignedInfo` covers.
    static std::vector<std::u16string> findUncoveredObjects(const DigitalSignatureData& signature);

private:
    using ReferenceData = DigitalSignatureData::ReferenceData;
    /// Part, transforms, method.
    using CanonicalKey = std::tuple<std::u16string, std::vector<std::u16string>, DigestMethod>;

    void digestAhead(const DigitalSignatureData& signature);
    ReferenceReport examineObject(const ReferenceData& reference, const DigitalSignatureData& signature,
                                  const SignatureFormRules& form);
    ReferenceReport examineEntry(const ReferenceData& reference, const SignatureFormRules& form);
    template <class Read>
    const std::vector<unsigned char>& digestCanonical(const PartName& name, const ReferenceData& reference,
                                                      DigestMethod method, Read read);
    void examinePart(const ReferenceData& reference, const PartName& name, const SignatureFormRules& form,
                     ReferenceReport& report);
    void examineRelationships(const ReferenceData& reference, const PartName& name, const SignatureFormRules& form,
                              ReferenceReport& report);
    void compareRelationships(const ReferenceData& reference, const RelationshipSource& source,
                              const SignatureFormRules& form, ReferenceReport& report);
    std::vector<unsigned char> digestRelationships(const RelationshipSource& source, RelationshipsReading reading,
                                                   DigestMethod method, const ReferenceReport& report);
    std::size_t countWhiteSpacesOf(const RelationshipSource& source);

    const Package& package_;
    const bool strict_;
    const ReportDetail detail_;
    PartDigester digester_;
    std::map<CanonicalKey, std::vector<unsigned char>> canonicalDigests_;
    std::map<std::u16string, std::size_t> whiteSpaces_; ///< of relationships parts, by their sources
};

} // namespace opc::model
