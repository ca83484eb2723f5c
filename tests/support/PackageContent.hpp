// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Strings.hpp>
#include <opc/model/Package.hpp>

#include <map>
#include <string>

namespace opc::test {

/// What a package holds, to compare it with another: content type and bytes by the names of parts; type, target and
/// mode of relationships by "SOURCE has ID".
using PackageContent = std::map<std::string, std::string>;

inline void addRelationships(const model::RelationshipSource& source, PackageContent& content) {
    const std::u16string name = source.getSourceURI().toString();
    for (const model::Relationship& each : source.getRelationships()) {
        const bool external = each.getTargetMode() == model::TargetMode::External;
        content[detail::toUTF8String(name + u" has " + each.getID())] =
            detail::toUTF8String(each.getType() + u" to " + (external ? u"external " : u"") + each.getTarget());
    }
}

/// The bytes of a part; of one that inflates to more than 4 MiB, its start.
inline std::string bytesOf(const model::Part& part) {
    InputStream& stream = *part.getInputStream();
    std::string bytes;
    std::string block(64 * 1024, '\0');
    stream.open();
    unsigned long count = 1;
    while (count != 0 && bytes.size() < 4 * 1024 * 1024) {
        count = stream.read(reinterpret_cast<unsigned char*>(block.data()), block.size());
        bytes.append(block, 0, count);
    }
    stream.close();
    return bytes;
}

/// @param package is open. A part that cannot be read has its content type alone, as all have without their bytes.
inline PackageContent contentOf(const model::Package& package, bool withBytes = true) {
    PackageContent content;
    addRelationships(package, content);
    for (const model::Part& part : package.getParts()) {
        std::string& text = content[detail::toUTF8String(part.getName().toString())];
        text = detail::toUTF8String(part.getContentType().toString());
        addRelationships(part, content);
        try {
            text += withBytes ? ": " + bytesOf(part) : "";
        } catch (const Exception&) {
        }
    }
    return content;
}

} // namespace opc::test
