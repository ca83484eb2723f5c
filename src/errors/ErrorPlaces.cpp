// SPDX-License-Identifier: Apache-2.0
#include "errors/ErrorPlaces.hpp"

namespace opc::model {

std::shared_ptr<const ErrorPlace> placeInItem(const Exception& error, const std::string& item) {
    const auto known = error.getPlace();
    if (known && !known->item.empty())
        return known;
    ErrorPlace place = known ? *known : ErrorPlace();
    place.item = item;
    place.reason = error.what();
    return std::make_shared<const ErrorPlace>(std::move(place));
}

} // namespace opc::model
