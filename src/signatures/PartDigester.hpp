// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/interfaces/IPhysicalParallelReading.hpp>
#include <opc/crypto/DigestEngine.hpp>
#include <opc/model/Package.hpp>
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
/// Valid as long as the package is open and no part changes. Used by one thread at a time.
class PartDigester {
public:
    struct Wanted {
        Part part;
        DigestMethod method;
    };

    explicit PartDigester(const Package& package);

    /// Whether `digestAhead` can use several threads.
    bool isParallel() const { return store_ && store_->isParallel(); }

    /// Computes the digests of parts at the same time on the threads of a physical package that has some, as far as
    /// that is worth while. Nothing can be told from that: what is left out, for an error for example, is read when
    /// `digestPart` is called for it.
    void digestAhead(const std::vector<Wanted>& wanted, SignatureForm form);

    /// The digest of all bytes of the part; in the library's form without the keywords for the core properties part
    /// "/metadata/coreProperties.xml".
    /// @throws opc::Exception when the part cannot be read or the method is unknown.
    const std::vector<unsigned char>& digestPart(const Part& part, DigestMethod method,
                                                 SignatureForm form = SignatureForm::Library);

    /// @throws opc::Exception when the method is unknown.
    std::vector<unsigned char> digestBytes(std::string_view bytes, DigestMethod method);

    /// The digest of the text of an object in the library's form (`forEachDigestedBlock`).
    /// @throws opc::Exception when the method is unknown, or the text has an unpaired surrogate.
    std::vector<unsigned char> digestObject(std::u16string_view xmlText, DigestMethod method);

private:
    using Digest = std::vector<unsigned char>;
    /// Part, method, and whether the keywords are left out.
    using Key = std::tuple<const interfaces::IPhysicalPart*, DigestMethod, bool>;

    Key keyOf(const Part& part, DigestMethod method, SignatureForm form) const;
    bool wasDigestedAhead(const Key& key, const Part& part) const;
    crypto::DigestEngine& engine(DigestMethod method);
    std::vector<unsigned char> digestWithoutKeywords(const Part& part, DigestMethod method);
    std::vector<unsigned char> digestWhole(const Part& part, DigestMethod method);

    /// The digest of what a function reads.
    /// @param read called with the engine. When it throws, the engine is not used again: its state is that of a partial
    /// read.
    template <class Read>
    std::vector<unsigned char> digestRead(DigestMethod method, Read read);

    const Limits limits_;
    const PartName coreProperties_;
    std::map<DigestMethod, crypto::DigestEngine> engines_;
    std::map<Key, Digest> digests_;
    interfaces::IPhysicalParallelReading* store_; ///< null for a physical package without threads
    std::map<Key, Digest> ahead_;                 ///< whose parts do not count as read yet; empty for what was left out
};

/// Removes the keywords from core properties: from the first start tag to the first end tag of their element, provided
/// that only text and `cp:value` elements are between them, and the whole is well-formed XML in UTF-8. Anything else
/// there, such as a title for another reader, or what keeps one from reading the others, would not be covered by the
/// signature.
void removeKeywords(std::string& coreProperties, const Limits& limits);

} // namespace opc::model
