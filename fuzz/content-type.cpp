// SPDX-License-Identifier: Apache-2.0
// Media types. The input is three lines: a media type, the attribute and the value of one more parameter.
#include <opc/errors/Errors.hpp>
#include <opc/model/ContentType.hpp>

#include "Fuzz.hpp"

#include <optional>

namespace {

using opc::fuzz::accepted;
using opc::model::ContentType;

void checkText(const ContentType& type) {
    const ContentType again(type.toString());
    OPCRAFT_REQUIRE(again.toString() == type.toString());
    OPCRAFT_REQUIRE(again.getType() == type.getType() && again.getSubType() == type.getSubType());
    OPCRAFT_REQUIRE(again == type && !(again < type) && !(type < again));
}

void checkParameter(ContentType type, const std::u16string& attribute, const std::u16string& value) {
    const ContentType before = type;
    const bool wasThere = type.hasParameter(attribute);
    OPCRAFT_REQUIRE(accepted([&] { type.getParameterValue(attribute); }) == wasThere);
    if (!accepted([&] { type.addParameter(attribute, value); })) {
        OPCRAFT_REQUIRE(type.toString() == before.toString());
        return;
    }
    OPCRAFT_REQUIRE(type.hasParameter(attribute) && type.getParameterValue(attribute) == value);
    if (value.find(u'"') == std::u16string::npos) { // no text can hold such a value
        checkText(type);
        OPCRAFT_REQUIRE(ContentType(type.toString()).getParameterValue(attribute) == value);
    }
    type.removeParameter(attribute);
    OPCRAFT_REQUIRE(!type.hasParameter(attribute));
    OPCRAFT_REQUIRE(wasThere || type.toString() == before.toString());
    checkText(type);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    opc::fuzz::Input input(data, size);
    std::optional<ContentType> type;
    const std::u16string text = input.text();
    if (!accepted([&] { type.emplace(text); }))
        return 0;
    // A normalized text has no spaces but in quoted values, and never grows but by the quotes.
    OPCRAFT_REQUIRE(type->toString().size() <= text.size());
    checkText(*type);
    const std::u16string attribute = input.text();
    checkParameter(*type, attribute, input.text());
    return 0;
}
