// SPDX-License-Identifier: Apache-2.0
#include "compare/PropertyComparison.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Findings.hpp>
#include <opc/core/Time.hpp>
#include <opc/model/coreproperties/CoreProperty.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>

#include <optional>
#include <string>
#include <variant>

namespace opc::compare {

namespace {

using model::CoreProperties;
using model::CoreProperty;
using model::PackageHelper;

class FaultFlag final : public FindingSink {
public:
    void found(const Finding& /*finding*/) override { isRaised = true; }

    bool isRaised = false;
};

/// Nothing when something is wrong with them; empty ones when the package has none.
std::optional<CoreProperties> readProperties(const ComparedParts& parts) {
    if (parts.getCorePropertiesKey().empty())
        return CoreProperties();
    FaultFlag fault;
    try {
        const model::Package& package = parts.getPackage();
        const std::u16string type = PackageHelper::findCorePropertiesRelationshipType(package);
        CoreProperties properties = PackageHelper::getCoreProperties(package, type, fault);
        return fault.isRaised ? std::nullopt : std::optional(properties);
    } catch (const Exception&) { // a failure of the store shows when the part is digested
        return std::nullopt;
    }
}

std::string textOf(const std::u16string& value) {
    return toText(value);
}

std::string textOf(const boost::posix_time::ptime& value) {
    return value.is_special() ? "" : toText(convertTimeToString(value));
}

std::string textOf(const std::vector<CoreProperties::Keyword>& keywords) {
    std::string text;
    for (const auto& [word, language] : keywords)
        text += (text.empty() ? "" : ", ") + toText(word) + (language.empty() ? "" : "@" + toText(language));
    return text;
}

std::optional<std::string> valueOf(const CoreProperty& property, const CoreProperties& properties) {
    return std::visit(
        [&](const auto& access) {
            const auto value = (properties.*access.get)();
            return value ? std::optional(textOf(*value)) : std::nullopt;
        },
        property.access);
}

} // namespace

bool compareProperties(const ComparedParts& before, const ComparedParts& after,
                       std::vector<PropertyDifference>& differences) {
    const auto old = readProperties(before);
    const auto now = readProperties(after);
    if (!old || !now)
        return false;
    for (const CoreProperty& property : model::getAllCoreProperties()) {
        PropertyDifference difference{property.name, valueOf(property, *old), valueOf(property, *now)};
        if (difference.before != difference.after)
            differences.push_back(std::move(difference));
    }
    return true;
}

} // namespace opc::compare
