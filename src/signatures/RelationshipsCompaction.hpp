// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/Package.hpp>
#include <opc/signatures/DigitalSignature.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>

#include <map>
#include <vector>

namespace opc::model {

/// Has relationships parts written without white space where a new signature covers relationships: some programs take
/// the white space between them for signed.
class RelationshipsCompaction {
public:
    /// @param existing the signatures that the package has. What one of them covers, with the white space as it
    ///        seems, stays as it is.
    RelationshipsCompaction(Package& package, const std::vector<DigitalSignature>& existing);

    /// Finds the relationships parts to be rewritten. Nothing is changed.
    void add(const DigitalSignatureData& signature);
    /// Those that were found are written anew by the next flush.
    void run();

private:
    bool isCoveredWithWhiteSpace(const URI& source) const;

    Package& package_;
    std::multimap<PartName, DigitalSignatureData::ReferenceData> existing_; ///< references to relationships parts
    std::vector<URI> sources_;
};

} // namespace opc::model
