// SPDX-License-Identifier: Apache-2.0
#include "Dump.hpp"

#include <opc/model/Package.hpp>

#include "Fuzz.hpp"

namespace opc::fuzz {

namespace {

constexpr std::size_t longestContent = 4 * 1024 * 1024; // of a part that inflates to more, the start is compared

std::string read(InputStream& stream) {
    std::string content;
    std::vector<unsigned char> buffer(64 * 1024);
    stream.open();
    while (content.size() < longestContent) {
        const unsigned long count = stream.read(buffer.data(), buffer.size());
        if (count == 0)
            break;
        content.append(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count));
    }
    stream.close();
    return content;
}

void addRelationships(const model::RelationshipSource& source, Dump::Relationships& relationships) {
    for (const model::Relationship& relationship : source.getRelationships()) {
        relationships.emplace(std::tuple(source.getSourceURI().toString(), relationship.getID()),
                              std::tuple(relationship.getType(), relationship.getTarget(),
                                         relationship.getTargetMode() == model::TargetMode::External));
    }
}

} // namespace

Dump dump(const model::Package& package, Contents contents) {
    Dump result;
    addRelationships(package, result.relationships);
    for (const model::Part& part : package.getParts()) {
        Dump::Part& entry = result.parts[part.getName().toString()];
        entry.contentType = part.getContentType().toString();
        if (contents == Contents::Read)
            accepted([&] { entry.content = read(*part.getInputStream()); });
        addRelationships(part, result.relationships);
    }
    return result;
}

} // namespace opc::fuzz
