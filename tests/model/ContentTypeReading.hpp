// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/PlainContentTypes.hpp>

#include "model/ContentTypeSource.hpp"
#include "support/ScriptedPackage.hpp"

#include <string>

/// Content types streams that are read with and without validation.
namespace opc::test {

/// What the model knows of the names in a table, read from a stream, and the stream that it writes.
/// @throws what the model throws.
inline std::string describeContentTypes(const std::string& xml, const detail::ContentTypeTable& table) {
    ScriptedPackage store(xml);
    model::ContentTypeSource source(store, false);
    std::u16string known;
    for (const detail::ContentTypeEntry& entry : table.entries) {
        const model::PartName name(entry.isDefault ? u"/x." + entry.name : entry.name, true);
        known += source.getContentType(name, true).toString() + u"\n";
    }
    source.addContentType(u"/added", u"a/b");
    source.save();
    return detail::toUTF8String(known) + store.contentTypes();
}

/// Whether the model takes a stream, if it is plain, as it does when a comment calls for validation.
inline bool isTakenAsWithValidation(const std::string& xml) {
    const auto table = detail::readPlainContentTypes({xml.begin(), xml.end()}, {});
    if (!table)
        return true;
    std::string description;
    try {
        description = describeContentTypes(xml, *table);
    } catch (const Exception&) {
        return true; // of the validating reader, to which the model has turned
    }
    return description == describeContentTypes(xml + "<!-- -->", *table);
}

} // namespace opc::test
