// SPDX-License-Identifier: Apache-2.0
#include "opcraft/ContentIds.hpp"

#include "opcraft/Names.hpp"
#include "opcraft/OpenPackage.hpp"

#include <algorithm>
#include <string_view>

namespace opcraft {

namespace {

/// A longer word is no ID that a program writes.
constexpr std::size_t MAXIMUM_WORD = 1000;

/// Takes bytes apart into the words that may be IDs (XML Names without colons). Zero bytes are passed over, so that
/// UTF-16 is read as well.
class Words {
public:
    Words(const std::set<std::string>& sought, ContentIds& ids) : sought_(sought), ids_(ids) {}

    void take(const unsigned char* data, std::size_t size) {
        for (const unsigned char byte : std::string_view(reinterpret_cast<const char*>(data), size)) {
            if (byte == 0)
                continue;
            if (!isOfWord(byte))
                end();
            else if (word_.size() <= MAXIMUM_WORD)
                word_ += static_cast<char>(byte);
        }
    }

    void end() {
        if (sought_.contains(word_))
            ids_.found.insert(word_);
        if (word_.starts_with("rId") && word_.size() > 3 && word_.size() < 13 &&
            word_.find_first_not_of("0123456789", 3) == word_.npos)
            ids_.highestNumber = std::max<std::uint64_t>(ids_.highestNumber, std::stoull(word_.substr(3)));
        word_.clear();
    }

private:
    static bool isOfWord(unsigned char byte) {
        return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
               byte == '_' || byte == '-' || byte == '.' || byte >= 0x80;
    }

    const std::set<std::string>& sought_;
    ContentIds& ids_;
    std::string word_{};
};

} // namespace

ContentIds findContentIds(OpenPackage& package, const std::string& source, const std::set<std::string>& sought) {
    ContentIds ids;
    if (source == "/")
        return ids;
    Words words(sought, ids);
    forEachBlock(package.getPart(toPartName(source)),
                 [&](const unsigned char* data, std::size_t size) { words.take(data, size); });
    words.end();
    return ids;
}

std::optional<std::u16string> findUnmentionedId(OpenPackage& package, const opc::model::RelationshipSource& source,
                                                const std::u16string& generated) {
    const ContentIds ids = findContentIds(package, toUtf8(source.getSourceURI().toString()), {toUtf8(generated)});
    if (ids.found.empty())
        return std::nullopt;
    std::uint64_t number = ids.highestNumber;
    std::u16string id;
    do
        id = toUtf16("rId" + std::to_string(++number));
    while (source.hasRelationship(id));
    return id;
}

} // namespace opcraft
