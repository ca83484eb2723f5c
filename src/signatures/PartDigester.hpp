// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/crypto/DigestEngine.hpp>
#include <opc/model/Part.hpp>
#include <opc/signatures/DigestMethod.hpp>
#include <opc/signatures/SignatureForm.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace opc::model {

/// Computes digests and caches those of parts, so that each part is read once however often signatures name it.
///
/// Valid as long as no part changes. Used by one thread at a time.
class PartDigester {
public:
    /// @param xmlSize the maximum size of core properties, in bytes.
    explicit PartDigester(std::uint64_t xmlSize);

    /// The digest of all bytes of the part; in the library's form without the keywords for the core properties part
    /// "/metadata/coreProperties.xml".
    /// @throws opc::Exception when the part cannot be read or the method is unknown.
    const std::vector<unsigned char>& digestPart(const Part& part, DigestMethod method,
                                                 SignatureForm form = SignatureForm::Library);

    /// @throws opc::Exception when the method is unknown.
    std::vector<unsigned char> digestBytes(std::string_view bytes, DigestMethod method);

private:
    crypto::DigestEngine& engine(DigestMethod method);
    std::vector<unsigned char> digestWithoutKeywords(const Part& part, DigestMethod method);
    std::vector<unsigned char> digestWhole(const Part& part, DigestMethod method);

    std::uint64_t xmlSize_;
    const PartName coreProperties_;
    std::map<DigestMethod, crypto::DigestEngine> engines_;
    /// By part, method, and whether the keywords are left out.
    std::map<std::tuple<std::u16string, DigestMethod, bool>, std::vector<unsigned char>> digests_;
};

/// Removes the keywords from core properties: from the first start tag to the first end tag of their element, provided
/// that only text and `cp:value` elements are between them. Anything else there, such as a title for another reader,
/// would not be covered by the signature.
void removeKeywords(std::string& coreProperties);

} // namespace opc::model
