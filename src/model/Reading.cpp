// SPDX-License-Identifier: Apache-2.0
#include "model/Reading.hpp"

#include <opc/core/PartNames.hpp>
#include <opc/model/PhysicalInputStream.hpp>
#include <opc/model/URI.hpp>

#include "errors/ErrorPlaces.hpp"
#include "model/ItemBytes.hpp"

#include <utility>

namespace opc::model {

namespace {

/// A store puts the names of its file and of the item in front.
std::string withoutItem(const std::string& message, const std::string& item) {
    const std::string name = item.substr(item.starts_with('/') ? 1 : 0) + ": ";
    const std::size_t found = message.find(name);
    return found == message.npos ? message : message.substr(found + name.size());
}

} // namespace

void Reading::found(RuleId rule, const Exception& error, const std::string& item) const {
    ErrorPlace place = *placeInItem(error, item);
    if (place.reason.empty())
        place.reason = error.what();
    place.reason = withoutItem(place.reason, item);
    found(rule, std::move(place));
}

void Reading::found(RuleId rule, ErrorPlace place) const {
    std::string message = place.reason;
    if (!place.value.empty() && message.find(place.value) == message.npos)
        message += ": \"" + place.value + "\"";
    sink_->found({rule, std::move(place), std::move(message), blocks_});
}

std::optional<std::vector<unsigned char>>
Reading::readItem(const std::function<interfaces::IPhysicalInputStream*()>& open, std::uint64_t maximumSize,
                  const std::function<std::string()>& item) const {
    try {
        PhysicalInputStream input(open());
        return readXmlItem(input, maximumSize);
    } catch (const Exception& e) {
        if (!isTolerant() || e.code() != boost::system::errc::bad_message)
            throw PackageOpenFailed(e.what(), e.code());
        found(RuleId::ZipDamaged, e, item());
        return std::nullopt;
    }
}

RuleId ruleOfPartName(const std::u16string& name) {
    try {
        const URI checked(name);
    } catch (const InvalidURI&) {
        return RuleId::PathCharacters;
    }
    const auto fault = detail::findPartNameFault(name);
    return fault ? detail::toRuleId(fault->rule) : RuleId::NoSlashAtEnd; // of the package root
}

} // namespace opc::model
