// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/compare/Compare.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/Part.hpp>

#include "compare/XmlIdentity.hpp"
#include "signatures/PartDigester.hpp"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace opc::compare {

/// UTF-8 for reports.
std::string toText(std::u16string_view text);

std::string toHex(const std::vector<unsigned char>& bytes);

/// Whether a relationship leads to signatures, or a content type is one of their parts.
bool isOfSignatures(const model::Relationship& relationship);
bool isOfSignatures(const model::ContentType& type);

/// Whether a relationship of the package leads to core properties.
bool isOfCoreProperties(const model::Relationship& relationship);

/// The path of an internal target in lower case, as the key of a part; empty when it leads out of the package.
std::string targetKeyOf(const model::Relationship& relationship);

/// The parts of one package that are compared, by their names in lower case.
class ComparedParts {
public:
    ComparedParts(const ComparedPackage& compared, const CompareOptions& options);

    const ComparedPackage& getCompared() const noexcept { return compared_; }
    const model::Package& getPackage() const noexcept { return *compared_.package; }
    const std::map<std::string, model::Part>& getParts() const noexcept { return parts_; }
    /// Null when there is none.
    const model::Part* find(const std::string& key) const;

    /// Digests all parts on the threads of the store, where it has some.
    void digestAhead();
    const std::vector<unsigned char>& digestOf(const model::Part& part);
    /// @throws opc::Exception when it cannot be read.
    PartState stateOf(const model::Part& part);

    /// The key of the core properties part; empty when there is none.
    const std::string& getCorePropertiesKey() const noexcept { return corePropertiesKey_; }

private:
    const ComparedPackage& compared_;
    std::map<std::string, model::Part> parts_;
    model::PartDigester digester_;
    std::string corePropertiesKey_;
    std::map<std::string, std::uint64_t> sizes_; ///< by key, where the store tells them
};

} // namespace opc::compare
