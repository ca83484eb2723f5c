// SPDX-License-Identifier: Apache-2.0
#include "storage/items/MainPart.hpp"

#include "storage/items/XmlElements.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace opc::storage {

namespace {

constexpr std::string_view RELATIONSHIP_ELEMENT =
    "http://schemas.openxmlformats.org/package/2006/relationships Relationship";

constexpr std::array<std::u16string_view, 3> MAIN_TYPES = {
    u"http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument",
    u"http://purl.oclc.org/ooxml/officeDocument/relationships/officeDocument",
    u"http://schemas.microsoft.com/visio/2010/relationships/document",
};

} // namespace

std::u16string findMainPart(ItemReader& relationships, std::uint64_t maximumSize) {
    std::u16string target;
    const auto look = [&target](const XmlElement& element) {
        if (target.empty() && element.name() == RELATIONSHIP_ELEMENT &&
            std::find(MAIN_TYPES.begin(), MAIN_TYPES.end(), element.attribute("Type")) != MAIN_TYPES.end())
            target = element.attribute("Target");
    };
    forEachElement(relationships, maximumSize, look);
    return target.empty() || target.front() == u'/' ? target : u'/' + target;
}

} // namespace opc::storage
