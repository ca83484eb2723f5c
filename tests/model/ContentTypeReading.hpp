// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/PlainContentTypes.hpp>

#include "model/ContentTypeSource.hpp"
#include "support/ScriptedPackage.hpp"

#include <optional>
#include <string>
#include <vector>

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

/// @return none when a stream is not plain, or has a value that the model does not take; else whether the model reads
///         the same with validation, which a comment calls for.
inline std::optional<bool> areContentTypesAlike(const std::vector<unsigned char>& stream) {
    const auto table = detail::readPlainContentTypes(stream, {});
    if (!table)
        return std::nullopt;
    const std::string xml(stream.begin(), stream.end());
    std::string plain;
    try {
        plain = describeContentTypes(xml, *table);
    } catch (const Exception&) { // of the validating reader, to which the model has turned
        return std::nullopt;
    }
    return plain == describeContentTypes(xml + "<!-- -->", *table);
}

} // namespace opc::test
