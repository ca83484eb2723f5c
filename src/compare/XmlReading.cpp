// SPDX-License-Identifier: Apache-2.0
#include "compare/XmlReading.hpp"

#include "model/ItemBytes.hpp"

#include <algorithm>
#include <tuple>

namespace opc::compare {

detail::XmlEventFault readXml(InputStream& stream, const Limits& limits, detail::XmlEventHandler& handler) {
    detail::XmlEventReader reader(limits, handler);
    model::readItem(stream, [&](const unsigned char* data, std::size_t size) { return reader.read(data, size); });
    return reader.finish();
}

std::string faultText(const detail::XmlEventFault& fault) {
    return "line " + std::to_string(fault.place.line) + ", column " + std::to_string(fault.place.column) + ": " +
           fault.reason;
}

std::string qualifiedName(const detail::XmlEventName& name) {
    std::string text(name.prefix);
    return text.append(text.empty() ? "" : ":").append(name.local);
}

void sortAttributes(detail::XmlEventElement& element) {
    std::sort(
        element.declarations.begin(), element.declarations.end(),
        [](const auto& a, const auto& b) { return a.prefix < b.prefix; });
    std::sort(element.attributes.begin(), element.attributes.end(), [](const auto& a, const auto& b) {
        return std::tie(a.name.uri, a.name.local) < std::tie(b.name.uri, b.name.local);
    });
}

bool isRelationshipId(std::string_view uri, std::string_view name) noexcept {
    constexpr std::string_view relationships = "/relationships"; // of office documents, transitional and strict
    return uri.ends_with(relationships) || name == "relid";
}

} // namespace opc::compare
