// SPDX-License-Identifier: Apache-2.0
#include <opc/core/PlainContentTypes.hpp>

#include <opc/core/ContentTypePattern.hpp>
#include <opc/core/PlainXml.hpp>
#include <opc/core/Strings.hpp>

#include <functional>
#include <map>
#include <string_view>
#include <utility>

namespace opc::detail {

namespace {

constexpr std::string_view NAMESPACE = "http://schemas.openxmlformats.org/package/2006/content-types";
constexpr std::string_view TYPES_ELEMENT = "http://schemas.openxmlformats.org/package/2006/content-types Types";
constexpr std::string_view DEFAULT_ELEMENT = "http://schemas.openxmlformats.org/package/2006/content-types Default";
constexpr std::string_view OVERRIDE_ELEMENT = "http://schemas.openxmlformats.org/package/2006/content-types Override";

constexpr std::uint64_t ENTRY_DEPTH = 2;
constexpr std::size_t ENTRY_ATTRIBUTES = 2;

class Reader final : public PlainXmlHandler {
public:
    explicit Reader(const std::vector<unsigned char>& bytes)
        : text_(reinterpret_cast<const char*>(bytes.data()), bytes.size()) {
        table_.size = bytes.size();
    }

    ContentTypeTable take() { return std::move(table_); }

    bool declareNamespace(std::string_view /*prefix*/, std::string_view uri) override {
        ++table_.nodes;
        return uri == NAMESPACE || isSchemaNamespace(uri);
    }

    bool startElement(const PlainElement& element) override {
        table_.nodes += 1 + element.attributeCount();
        if (++depth_ == 1)
            return element.name() == TYPES_ELEMENT && element.attributeCount() == 0;
        return depth_ == ENTRY_DEPTH && element.attributeCount() == ENTRY_ATTRIBUTES && takeEntry(element);
    }

    bool endElement(std::uint64_t end) override {
        if (depth_-- == ENTRY_DEPTH)
            table_.entries.back().end = end;
        return true;
    }

    bool text(std::string_view piece) override { return depth_ < ENTRY_DEPTH && isXmlSpace(piece); }

private:
    bool takeEntry(const PlainElement& element) {
        const bool isDefault = element.name() == DEFAULT_ELEMENT;
        if (!isDefault && element.name() != OVERRIDE_ELEMENT)
            return false;
        const char* name = element.attribute(isDefault ? "Extension" : "PartName");
        const char* type = element.attribute("ContentType");
        if (name == nullptr || type == nullptr)
            return false;
        table_.entries.push_back({isDefault, hasPrefix(element), toString(name), 0, element.begin(), 0});
        return (!isDefault || matchesExtensionPattern(table_.entries.back().name)) && takeType(type);
    }

    bool hasPrefix(const PlainElement& element) const {
        const std::string_view tag = text_.substr(element.begin());
        return tag.substr(0, tag.find_first_of(" \t\r\n/>")).find(':') != std::string_view::npos;
    }

    bool takeType(std::string_view text) {
        auto known = types_.find(text);
        if (known == types_.end()) {
            std::u16string type = toString(text);
            if (!matchesContentTypePattern(type))
                return false;
            known = types_.emplace(text, static_cast<std::uint32_t>(table_.types.size())).first;
            table_.types.push_back(std::move(type));
        }
        table_.entries.back().type = known->second;
        return true;
    }

    std::string_view text_;
    ContentTypeTable table_;
    std::map<std::string, std::uint32_t, std::less<>> types_; ///< the index of each
    std::uint64_t depth_ = 0;
};

} // namespace

bool ContentTypeTable::isWithin(const Limits& limits) const noexcept {
    return size <= limits.xmlSize && nodes <= limits.xmlNodes && (entries.empty() ? 1 : ENTRY_DEPTH) <= limits.xmlDepth;
}

std::optional<ContentTypeTable> readPlainContentTypes(const std::vector<unsigned char>& bytes, const Limits& limits) {
    Reader reader(bytes);
    return readPlainXml(bytes, limits, reader) ? std::optional(reader.take()) : std::nullopt;
}

} // namespace opc::detail
