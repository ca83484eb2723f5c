// SPDX-License-Identifier: Apache-2.0
#include "storage/items/ZipFaults.hpp"

#include "storage/Failure.hpp"

#include <opc/core/Strings.hpp>

namespace opc::storage {

namespace {

/// The names of items can be anything.
std::string toValidUTF8(const std::string& text) {
    return detail::toUTF8String(toString(text, false), false);
}

} // namespace

void ZipFaults::add(const ZipFault& fault) const {
    if (!sink_) {
        const std::string& said = fault.said;
        fail(Errc::bad_message, label_ + ": " + (said.empty() ? inQuotes(fault.item) + ": " + fault.what : said));
    }
    Finding finding{fault.rule, {}, toValidUTF8(fault.what), blocks_};
    finding.place.item = toValidUTF8(fault.item);
    finding.place.value = toValidUTF8(fault.value);
    sink_->found(finding);
}

} // namespace opc::storage
