// SPDX-License-Identifier: Apache-2.0
#include "storage/items/ContentTypeChecks.hpp"

#include "storage/Failure.hpp"
#include "storage/items/ItemNames.hpp"
#include "storage/items/XmlElements.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/PartNames.hpp>

#include <string>

namespace opc::storage {

bool isOfContent(const Exception& error) {
    return error.code() == make_error_condition(Errc::bad_message) ||
           error.code() == make_error_condition(Errc::not_supported);
}

void ContentTypeChecks::check(const ContentTypes* types, const ZipFaults& faults, bool readsXml) {
    if (ZipEntry* const stream = items_.contentTypes()) {
        if (stream->name != CONTENT_TYPES_ITEM)
            faults.add({RuleId::ContentTypesItemCase, stream->name,
                        "readers that are sensitive to case find no " + inQuotes(CONTENT_TYPES_ITEM)});
        if (readsXml)
            checkXml(*stream, types != nullptr, faults);
    }
    if (types)
        types->checkDuplicates(faults);
    for (ZipEntry& entry : items_.all()) {
        if (types && !items_.areTypesExact())
            types->checkCase(entry.partName(), faults);
        if (readsXml && entry.index && detail::isRelationshipsPartName(entry.partName()))
            checkXml(entry, true, faults);
    }
}

/// A longer part than the limit on XML is left to the parser, which names the limit; so is, where the reading goes on,
/// what cannot be read, or taken by any parser.
/// @param isUsable whether it could be read before.
void ContentTypeChecks::checkXml(ZipEntry& entry, bool isUsable, const ZipFaults& faults) {
    const std::uint64_t bound = limits_.get().xmlSize;
    XmlFault fault = isUsable || faults.isTolerant() ? XmlFault::None : XmlFault::Other;
    try {
        if (fault == XmlFault::None && entry.size <= bound)
            fault = findXmlFault(*entry.readOriginal(), bound);
    } catch (const Exception& e) {
        if (!faults.isTolerant() || !isOfContent(e))
            throw;
    }
    if (fault == XmlFault::None || (fault == XmlFault::Other && faults.isTolerant()))
        return;
    const bool isVersion = fault == XmlFault::Version;
    faults.add({isVersion ? RuleId::XmlWellFormed : RuleId::XmlEncoding, entry.name,
                isVersion ? "not XML 1.0" : "not in the encoding that it declares, or in one that few readers know",
                inQuotes(entry.name) + ": cannot be read, or is XML that not every reader accepts"});
}

} // namespace opc::storage
