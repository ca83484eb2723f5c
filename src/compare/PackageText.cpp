// SPDX-License-Identifier: Apache-2.0
#include <opc/compare/PackageText.hpp>

#include <opc/compare/PrettyXml.hpp>
#include <opc/errors/Errors.hpp>

#include "compare/ComparedParts.hpp"
#include "compare/PartComparison.hpp"
#include "compare/RelationshipComparison.hpp"
#include "compare/StoredItems.hpp"

#include <string>

namespace opc::compare {

namespace {

using Write = std::function<void(std::string_view line)>;

class TextWriter {
public:
    TextWriter(const ComparedPackage& package, const Write& write) : parts_(package, {}), write_(write) {}

    void run() {
        write_("package");
        writeRelationships(parts_.getPackage());
        for (const auto& [key, part] : parts_.getParts())
            writePart(part);
        for (const StoredItem& item : othersOf(parts_))
            write_("item " + item.name + ": " + std::to_string(item.size) + " bytes, sha256 " + toHex(item.digest));
    }

private:
    void writePart(const model::Part& part) {
        write_("part " + toText(part.getName().toString()));
        write_("  type " + toText(part.getContentType().toString()));
        writeRelationships(part);
        if (PartComparison::isXml(part) && writeXml(part))
            return;
        const PartState state = parts_.stateOf(part);
        write_("  content: " + std::to_string(state.size) + " bytes, sha256 " + state.sha256);
    }

    void writeRelationships(const model::RelationshipSource& source) {
        for (const model::Relationship& each : source.getRelationships()) {
            const bool isExternal = each.getTargetMode() == model::TargetMode::External;
            write_("  relationship " + toText(each.getID()) + ": " + toText(each.getType()) + " -> " +
                   (isExternal ? toText(each.getTarget()) + " (external)" : resolvedTargetOf(each)));
        }
        for (const model::RawRelationship& each : source.getRawRelationships())
            write_("  not a relationship, " + each.reason + ": " + each.text);
        if (source.hasUnreadableRelationships())
            write_("  relationships that cannot be read");
    }

    bool writeXml(const model::Part& part) {
        write_("  content:");
        PrettyOptions how;
        how.limits = parts_.getPackage().getLimits();
        try {
            printPretty(
                *part.getInputStream(), [&](std::string_view line) { write_("    " + std::string(line)); }, how);
            return true;
        } catch (const model::InvalidXMLDocument& e) {
            write_(std::string("  ") + e.what());
            return false;
        }
    }

    ComparedParts parts_;
    const Write& write_;
};

} // namespace

void writeText(const ComparedPackage& package, const std::function<void(std::string_view line)>& write) {
    TextWriter(package, write).run();
}

} // namespace opc::compare
