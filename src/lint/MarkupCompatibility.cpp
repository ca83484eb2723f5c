// SPDX-License-Identifier: Apache-2.0
#include "lint/MarkupCompatibility.hpp"

#include <opc/core/XmlPieces.hpp>

#include "lint/Checks.hpp"

#include <algorithm>
#include <utility>

namespace opc::lint {

namespace {

void checkRelationshipsPart(Examination& examination, const model::RelationshipSource& source) {
    const std::u16string name = source.getRelationshipsPartName().toString();
    if (examination.hasItem(name))
        examination.readItem(name, [&] {
            checkCompatibility(examination, RuleId::MarkupCompatibility, toText(name), source.readRelationshipsPart());
        });
}

} // namespace

void checkCompatibility(Examination& examination, RuleId rule, const std::string& item,
                        std::vector<unsigned char> bytes) {
    constexpr std::string_view sought = detail::MARKUP_COMPATIBILITY_NAMESPACE;
    bytes.erase(std::remove(bytes.begin(), bytes.end(), 0), bytes.end()); // UTF-16 has them between
    if (std::search(bytes.begin(), bytes.end(), sought.begin(), sought.end()) == bytes.end() ||
        examination.getFindings().has(rule, item))
        return;
    ErrorPlace place;
    place.item = item;
    place.value = sought;
    examination.report(rule, std::move(place), "the namespace of Markup Compatibility is used");
}

void checkCompatibility(Examination& examination) {
    checkRelationshipsPart(examination, examination.getPackage());
    for (const model::Part& part : examination.getParts())
        checkRelationshipsPart(examination, part);
}

} // namespace opc::lint
