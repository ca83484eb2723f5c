// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/crypto/DigestEngine.hpp>
#include <opc/model/Part.hpp>
#include <opc/signatures/DigestMethod.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace opc::model {

/// Computes digests, and remembers those of parts: however often a signature names one, it is read once.
///
/// For the time in which no part changes. Used by one thread at a time.
class PartDigester {
public:
    /// @param xmlSize the most bytes of core properties that are looked through for keywords.
    explicit PartDigester(std::uint64_t xmlSize);

    /// Of all bytes of the part; of the core properties part "/metadata/coreProperties.xml", of those around the
    /// keywords.
    /// @throws opc::Exception when the part cannot be read, or the method is not known.
    const std::vector<unsigned char>& digestPart(const Part& part, DigestMethod method);

    /// @throws opc::Exception when the method is not known.
    std::vector<unsigned char> digestBytes(std::string_view bytes, DigestMethod method);

private:
    crypto::DigestEngine& engine(DigestMethod method);
    std::vector<unsigned char> compute(const Part& part, DigestMethod method);

    std::uint64_t xmlSize_;
    const PartName coreProperties_;
    std::map<DigestMethod, crypto::DigestEngine> engines_;
    std::map<std::pair<std::u16string, DigestMethod>, std::vector<unsigned char>> digests_;
};

/// Takes the keywords out of core properties: from the first start tag to the first end tag of their element, when
/// there is nothing but text and the elements of single keywords between the two. What else stood there would not be
/// covered either, and another reader could take it for a title.
void removeKeywords(std::string& coreProperties);

} // namespace opc::model
