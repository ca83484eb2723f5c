// SPDX-License-Identifier: Apache-2.0
#include "signatures/PartDigester.hpp"

#include "model/ItemBytes.hpp"
#include "signatures/Digests.hpp"
#include "signatures/ObjectText.hpp"
#include "xml/PlainXml.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <optional>
#include <utility>

namespace opc::model {

namespace {

constexpr std::string_view KEYWORDS_START = "<cp:keywords>";
constexpr std::string_view KEYWORDS_END = "</cp:keywords>";

/// Whether the text starts with a tag of a single keyword.
bool startsKeyword(std::string_view text) {
    for (const std::string_view tag : {"<cp:value", "</cp:value"})
        if (text.starts_with(tag) && text.size() > tag.size() &&
            std::string_view(" \t\r\n/>").find(text[tag.size()]) != std::string_view::npos)
            return true;
    return false;
}

bool holdsOnlyKeywords(std::string_view text) {
    for (auto tag = text.find('<'); tag != std::string_view::npos; tag = text.find('<', tag + 1))
        if (!startsKeyword(text.substr(tag)))
            return false;
    return true;
}

/// The offset after the tag, comment, CDATA section or processing instruction at `start`; npos when it does not end.
std::size_t endOfMarkup(std::string_view text, std::size_t start) {
    constexpr std::pair<std::string_view, std::string_view> brackets[] = {
        {"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}};
    for (const auto& [opening, closing] : brackets)
        if (text.substr(start).starts_with(opening)) {
            const std::size_t end = text.find(closing, start + opening.size());
            return end == std::string_view::npos ? end : end + closing.size();
        }
    char quote = 0;
    for (std::size_t i = start; i < text.size(); ++i) {
        if (quote == 0 && text[i] == '>')
            return i + 1;
        if (quote == 0 && (text[i] == '"' || text[i] == '\''))
            quote = text[i];
        else if (text[i] == quote)
            quote = 0;
    }
    return std::string_view::npos;
}

int depthOf(std::string_view markup) {
    if (markup.starts_with("</"))
        return -1;
    return markup.ends_with("/>") || markup.starts_with("<!") || markup.starts_with("<?") ? 0 : 1;
}

/// Whether a tag is a child of the root and not inside of a property, whose text it would belong to.
bool isChildOfRoot(std::string_view text, std::size_t tag) {
    int depth = 0;
    std::size_t next = text.find('<');
    while (next < tag) {
        const std::size_t end = endOfMarkup(text, next);
        if (end > tag)
            return false;
        depth += depthOf(text.substr(next, end - next));
        next = text.find('<', end);
    }
    return depth == 1;
}

/// Whether every program finds the properties: one that is strict shows none of what is not well-formed.
bool isWellFormed(const std::string& text, const Limits& limits) {
    const XercesGuard guard;
    const std::vector<unsigned char> bytes(text.begin(), text.end());
    try {
        const ParserHandle parser = XercesHelper::createParser(limits);
        ByteArrayInAdaptor stream(bytes);
        return isPlainXml(bytes, *XercesHelper::readDocumentFromStream(*parser, stream, false, u"", u""));
    } catch (const InvalidXMLDocument&) {
        return false;
    }
}

} // namespace

void removeKeywords(std::string& coreProperties, const Limits& limits) {
    const std::string_view text = coreProperties;
    const std::size_t start = text.find(KEYWORDS_START);
    const std::size_t end = text.find(KEYWORDS_END);
    if (start == std::string_view::npos || end == std::string_view::npos || end < start || !isChildOfRoot(text, start))
        return;
    const std::size_t inner = start + KEYWORDS_START.size();
    if (holdsOnlyKeywords(text.substr(inner, end - inner)) && isWellFormed(coreProperties, limits))
        coreProperties.erase(start, end + KEYWORDS_END.size() - start);
}

PartDigester::PartDigester(const Package& package)
    : limits_(package.getLimits()), coreProperties_(PackageHelper::getCorePropertiesURI()),
      store_(dynamic_cast<interfaces::IPhysicalParallelReading*>(&package.physicalPackage_)) {}

crypto::DigestEngine& PartDigester::engine(DigestMethod method) {
    const auto found = engines_.find(method);
    if (found != engines_.end())
        return found->second;
    return engines_.emplace(method, crypto::CryptoEngine::createDigestEngine(toDigestAlgorithm(method))).first->second;
}

std::vector<unsigned char> PartDigester::digestBytes(std::string_view bytes, DigestMethod method) {
    crypto::DigestEngine& digest = engine(method);
    digest.update(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    return digest.finish();
}

const std::vector<unsigned char>& PartDigester::digestPart(const Part& part, DigestMethod method, SignatureForm form) {
    Key key = keyOf(part, method, form);
    const auto found = digests_.find(key);
    if (found != digests_.end())
        return found->second;
    Digest digest = std::get<bool>(key)           ? digestWithoutKeywords(part, method)
                    : wasDigestedAhead(key, part) ? ahead_.at(key)
                                                  : digestWhole(part, method);
    return digests_.emplace(std::move(key), std::move(digest)).first->second;
}

PartDigester::Key PartDigester::keyOf(const Part& part, DigestMethod method, SignatureForm form) const {
    const bool omitsKeywords = form == SignatureForm::Library && part.getName() == coreProperties_;
    return {part.getPhysicalPart(), method, omitsKeywords};
}

bool PartDigester::wasDigestedAhead(const Key& key, const Part& part) const {
    const auto found = ahead_.find(key);
    return found != ahead_.end() && !found->second.empty() && store_->countAsRead(*part.getPhysicalPart());
}

void PartDigester::digestAhead(const std::vector<Wanted>& wanted, SignatureForm form) {
    struct Work {
        DigestMethod method;
        Digest& digest;
        std::optional<crypto::DigestEngine> engine{}; ///< while the part is read
    };
    std::vector<Work> works;
    std::vector<interfaces::IPhysicalPart*> parts;
    for (const auto& [part, method] : wanted) {
        const Key key = keyOf(part, method, form);
        const auto [ahead, isNew] = ahead_.try_emplace(key);
        if (!isNew || std::get<bool>(key) || digests_.count(key) != 0)
            continue;
        works.push_back({method, ahead->second});
        parts.push_back(part.getPhysicalPart());
    }
    store_->readParts(parts, [&](std::size_t index, const unsigned char* data, std::size_t size) {
        auto& [method, digest, engine] = works[index];
        if (!engine)
            engine = crypto::CryptoEngine::createDigestEngine(toDigestAlgorithm(method));
        if (size > 0)
            return engine->update(data, size);
        digest = engine->finish();
        engine.reset();
    });
}

std::vector<unsigned char> PartDigester::digestWithoutKeywords(const Part& part, DigestMethod method) {
    const std::vector<unsigned char> bytes = readXmlItem(*part.getInputStream(), limits_.xmlSize);
    if (bytes.size() > limits_.xmlSize)
        throw Exception("The core properties part has more than " + std::to_string(limits_.xmlSize) + " bytes");
    std::string text(bytes.begin(), bytes.end());
    removeKeywords(text, limits_);
    return digestBytes(text, method);
}

template <class Read>
std::vector<unsigned char> PartDigester::digestRead(DigestMethod method, Read read) {
    crypto::DigestEngine& digest = engine(method);
    try {
        read(digest);
    } catch (...) {
        engines_.erase(method);
        throw;
    }
    return digest.finish();
}

std::vector<unsigned char> PartDigester::digestWhole(const Part& part, DigestMethod method) {
    return digestRead(
        method,
        [&part](crypto::DigestEngine& digest) {
            readItem(
                *part.getInputStream(),
                [&digest](const unsigned char* data, std::size_t size) {
                    digest.update(data, size);
                    return true;
                });
        });
}

std::vector<unsigned char> PartDigester::digestObject(std::u16string_view xmlText, DigestMethod method) {
    return digestRead(
        method,
        [xmlText](crypto::DigestEngine& digest) {
            forEachDigestedBlock(
                xmlText,
                [&digest](std::string_view block) {
                    digest.update(reinterpret_cast<const unsigned char*>(block.data()), block.size());
                });
        });
}

} // namespace opc::model
