// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Properties.hpp"

#include <algorithm>

namespace opcraft {

namespace {

using P = opc::model::CoreProperties;

} // namespace

const std::array<Property, 15> allProperties = {{
    {"category", TextAccess{&P::getCategory, &P::setCategory}},
    {"contentStatus", TextAccess{&P::getContentStatus, &P::setContentStatus}},
    {"created", TimeAccess{&P::getCreated, &P::setCreated}},
    {"creator", TextAccess{&P::getCreator, &P::setCreator}},
    {"description", TextAccess{&P::getDescription, &P::setDescription}},
    {"identifier", TextAccess{&P::getIdentifier, &P::setIdentifier}},
    {"keywords", KeywordsAccess{&P::getKeywords, &P::setKeywords}},
    {"language", TextAccess{&P::getLanguage, &P::setLanguage}},
    {"lastModifiedBy", TextAccess{&P::getLastModifiedBy, &P::setLastModifiedBy}},
    {"lastPrinted", TimeAccess{&P::getLastPrinted, &P::setLastPrinted}},
    {"modified", TimeAccess{&P::getModified, &P::setModified}},
    {"revision", TextAccess{&P::getRevision, &P::setRevision}},
    {"subject", TextAccess{&P::getSubject, &P::setSubject}},
    {"title", TextAccess{&P::getTitle, &P::setTitle}},
    {"version", TextAccess{&P::getVersion, &P::setVersion}},
}};

const Property* findProperty(const std::string& name) {
    const auto found = std::find_if(allProperties.begin(), allProperties.end(),
                                    [&](const Property& property) { return property.name == name; });
    return found == allProperties.end() ? nullptr : &*found;
}

void copyProperty(const Property& property, const P& from, P& to) {
    std::visit(
        [&](const auto& access) {
            if (const auto value = (from.*access.get)())
                (to.*access.set)(*value);
        },
        property.access);
}

bool isSame(const P& a, const P& b) {
    return std::all_of(allProperties.begin(), allProperties.end(), [&](const Property& property) {
        return std::visit([&](const auto& access) { return (a.*access.get)() == (b.*access.get)(); }, property.access);
    });
}

} // namespace opcraft
