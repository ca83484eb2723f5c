// SPDX-License-Identifier: Apache-2.0
#include "c/Options.hpp"
#include "c/Package.hpp"
#include "c/Results.hpp"

#include <opc/core/Time.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/CoreProperties.hpp>
#include <opc/model/coreproperties/CoreProperty.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>

#include <cstring>
#include <optional>

namespace opc::c {

namespace {

using model::CoreProperties;
using model::CoreProperty;
using model::Package;
using model::PackageHelper;
using Keywords = std::vector<CoreProperties::Keyword>;

/// Writes the value of a property, if it has one.
struct Writer {
    const CoreProperties& properties;
    opcraft_property& entry;
    Pool& pool;

    bool operator()(const CoreProperty::Text& access) const {
        entry.kind = OPCRAFT_PROPERTY_TEXT;
        const auto text = (properties.*access.get)();
        entry.value = text ? pool.keep(*text) : nullptr;
        return text.has_value();
    }
    bool operator()(const CoreProperty::Time& access) const {
        entry.kind = OPCRAFT_PROPERTY_TIME;
        const auto time = (properties.*access.get)();
        entry.value = time ? pool.keep(convertTimeToString(*time)) : nullptr;
        return time.has_value();
    }
    bool operator()(const CoreProperty::Keywords& access) const {
        entry.kind = OPCRAFT_PROPERTY_KEYWORDS;
        const auto keywords = (properties.*access.get)();
        entry.keywords =
            pool.structures<opcraft_keyword>(keywords.value_or(Keywords()), entry.keyword_count,
                                             [&](opcraft_keyword& keyword, const CoreProperties::Keyword& of) {
                                                 keyword.text = pool.keep(of.first);
                                                 keyword.language = pool.keepOrNull(of.second);
                                             });
        return keywords.has_value();
    }
};

/// Reads the value of a change.
struct Setter {
    const opcraft_property& change;
    CoreProperties& properties;

    void operator()(const CoreProperty::Text& access) const { (properties.*access.set)(toText(change.value, "value")); }
    void operator()(const CoreProperty::Time& access) const {
        const auto time = convertStringToTime(toText(change.value, "value"));
        if (time.is_special())
            throwInvalidArgument(std::string(change.name) + ": \"" + change.value + "\" is not a time of W3CDTF");
        (properties.*access.set)(time);
    }
    void operator()(const CoreProperty::Keywords& access) const {
        Keywords keywords;
        for (std::size_t i = 0; i != change.keyword_count; ++i) {
            const opcraft_keyword keyword = read(elementOf(change.keywords, i, "keywords"), "keyword");
            keywords.push_back({toText(keyword.text, "keyword"),
                                keyword.language != nullptr ? toText(keyword.language, "language") : std::u16string()});
        }
        (properties.*access.set)(keywords);
    }
};

const CoreProperty& findProperty(const char* name) {
    for (const CoreProperty& property : model::getAllCoreProperties())
        if (std::strcmp(property.name, name) == 0)
            return property;
    throwInvalidArgument("\"" + std::string(name) + "\" is no core property");
}

bool isKeywords(const CoreProperty& property) {
    return std::holds_alternative<CoreProperty::Keywords>(property.access);
}

/// The name of the part that holds the properties; empty when there is none.
std::u16string findPart(const Package& package, const std::u16string& type) {
    for (const model::Relationship& relationship : package.getRelationshipsByType(type)) {
        if (relationship.getTargetMode() == model::TargetMode::External)
            continue;
        const model::PartName name(relationship.getTargetURI().getPath());
        return package.hasPart(name) ? package.getPart(name).getName().toString() : std::u16string();
    }
    return {};
}

void setProperties(OpenedPackage& opened, const opcraft_property* const* changes, std::size_t count) {
    CoreProperties values;
    std::set<const CoreProperty*> changed;
    for (std::size_t i = 0; i != count; ++i) {
        const opcraft_property change = read(elementOf(changes, i, "changes"), "change");
        const CoreProperty& property = findProperty(&required(change.name, "name"));
        if (!changed.insert(&property).second)
            throwInvalidArgument(std::string(change.name) + ": named twice");
        if (change.value != nullptr ? isKeywords(property) : change.keyword_count != 0 && !isKeywords(property))
            throwInvalidArgument(std::string(change.name) + ": keywords are a list, all others have a value");
        if (change.value != nullptr || change.keyword_count != 0)
            std::visit(Setter{change, values}, property.access);
    }
    const std::u16string type = PackageHelper::findCorePropertiesRelationshipType(opened.model);
    if (const std::u16string part = findPart(opened.model, type); !part.empty())
        opened.throwIfInUse(part);
    PackageHelper::updateCoreProperties(opened.model, values, changed, type);
}

/// What is wrong in the part of a package that was opened tolerantly hides nothing but itself.
CoreProperties readProperties(const OpenedPackage& opened, const std::u16string& type) {
    if (!opened.isTolerant)
        return PackageHelper::getCoreProperties(opened.model, type);
    FoundFindings ignored;
    return PackageHelper::getCoreProperties(opened.model, type, ignored);
}

} // namespace

} // namespace opc::c

using namespace opc::c;

opcraft_property_list* opcraft_package_list_properties(const opcraft_package* package, opcraft_error** error) {
    return guarded(
        package, error, static_cast<opcraft_property_list*>(nullptr),
        [](const OpenedPackage& opened) {
            auto list = makeResult<opcraft_property_list>();
            const std::u16string type = PackageHelper::findCorePropertiesRelationshipType(opened.model);
            list->part = list->pool.keepOrNull(findPart(opened.model, type));
            const CoreProperties properties = readProperties(opened, type);
            std::vector<opcraft_property*> entries;
            for (const CoreProperty& property : opc::model::getAllCoreProperties()) {
                auto* entry = list->pool.make<opcraft_property>();
                entry->name = property.name;
                if (std::visit(Writer{properties, *entry, list->pool}, property.access))
                    entries.push_back(entry);
            }
            list->count = entries.size();
            list->properties = list->pool.list(entries);
            return list.release();
        });
}

void opcraft_property_list_free(opcraft_property_list* list) {
    freeResult(list);
}

bool opcraft_package_set_properties(opcraft_package* package, const opcraft_property* const* changes, size_t count,
                                    opcraft_error** error) {
    return guardedChange(
        package, error, [&](OpenedPackage& opened) { setProperties(opened, changes, count); });
}
