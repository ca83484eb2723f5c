// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Zip.hpp"

#include <string_view>

namespace opc::benchmarks {

/// Passes over a document without looking at what is in it.
class SaxParser {
public:
    void parse(std::string_view name, const std::vector<unsigned char>& bytes);
};

inline bool isContentTypes(std::string_view name) {
    return name == "[Content_Types].xml";
}

inline bool isRelationships(std::string_view name) {
    return name.size() > 5 && name.substr(name.size() - 5) == ".rels";
}

/// The least that opening a package takes: its directory, and a parse of the content types stream and of every
/// relationships part.
class XmlItems {
public:
    explicit XmlItems(const std::filesystem::path& file) : zip_(openZip(file, ZIP_RDONLY)) {
        const auto items = static_cast<zip_uint64_t>(zip_get_num_entries(zip_.get(), 0));
        for (zip_uint64_t index = 0; index < items; ++index) {
            const std::string name = nameOf(zip_.get(), index);
            if (isContentTypes(name) || isRelationships(name)) {
                parser_.parse(name, readItem(zip_.get(), index));
                ++count_;
            }
        }
    }

    std::size_t count() const { return count_; }

private:
    Zip zip_;
    SaxParser parser_;
    std::size_t count_ = 0;
};

} // namespace opc::benchmarks
