// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/Package.hpp>
#include <opc/signatures/CoverageReport.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>
#include <opc/signatures/VerificationReport.hpp>

#include "signatures/SignatureFormRules.hpp"

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace opc::model {

/// Classifies the content of a package by what signatures have to cover. Valid as long as the package does not change.
class Coverage {
public:
    /// @param forms that are read.
    /// @param signatures all signatures of the package, which have to live as long.
    /// @param otherItems names of stored items that are not parts.
    Coverage(const Package& package, const std::vector<SignatureForm>& forms,
             const std::vector<DigitalSignature>& signatures, const std::vector<std::string>& otherItems,
             CoverageScope scope);

    /// The coverage of each signature by itself.
    /// @throws InvalidSignature when the limit is exceeded.
    std::vector<CoverageReport> examine(const std::vector<SignatureReport>& reports) const;
    SigningGaps findGaps() const;
    /// All that has to be covered; relationships by Id.
    SigningRequest makeRequest() const;

    /// A relationship of the package: its source in lower case, and its ID.
    using Key = std::pair<std::u16string, std::u16string>;

private:
    enum class Category {
        Content,
        Excepted,
        Structure, ///< stores the signatures
    };
    struct Link {
        Relationship relationship;
        Key key;
        std::set<std::string> paths; ///< folded names of where it leads
        Category category = Category::Content;
    };
    struct Entry {
        Category category = Category::Content;
        Key exceptedBy{}; ///< the relationship of an excepted part, which is content when this is signed; empty: none
    };

    void collect();
    void markStructure(const SignatureFormRules& form, const std::vector<DigitalSignature>& signatures);
    void markPart(const PartName& name, const char16_t* contentType);
    void markLinks(const URI& source, const char16_t* type);
    void markCertificates(const DigitalSignatureData& signature, const SignatureFormRules& form);
    void markExceptions();
    void demotePropertiesAmongContent();
    void exceptPart(const Part& part, const Link& link);
    void sortItems(const std::vector<std::string>& otherItems);
    void demoteLinkedStructure();
    CoverageReport examine(const SignatureReport& report) const;
    CoverageReport examineCountersignature(const SignatureReport& report) const;

    const Package& package_;
    const std::vector<DigitalSignature>& all_; ///< the signatures of the package
    std::vector<Link> links_;                  // of the package first
    std::map<PartName, Entry> parts_;          // all but relationships parts
    std::vector<PartName> signatures_;
    std::vector<std::string> items_;
    std::vector<std::string> exceptedItems_;
};

} // namespace opc::model
