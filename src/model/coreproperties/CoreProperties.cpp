// SPDX-License-Identifier: Apache-2.0
#include <opc/model/coreproperties/CoreProperties.hpp>

#include <opc/model/coreproperties/CoreProperty.hpp>

#include "model/coreproperties/CorePropertiesVocabulary.hpp"

#include <algorithm>

namespace opc::model {

const std::array<CoreProperty, 15>& getAllCoreProperties() noexcept {
    using P = CoreProperties;
    using Text = CoreProperty::Text;
    using Time = CoreProperty::Time;
    using namespace coreproperties;
    static constexpr std::array<CoreProperty, 15> all = {{
        {"category", cp, Text{&P::getCategory, &P::setCategory}},
        {"contentStatus", cp, Text{&P::getContentStatus, &P::setContentStatus}},
        {"created", dcterms, Time{&P::getCreated, &P::setCreated}},
        {"creator", dc, Text{&P::getCreator, &P::setCreator}},
        {"description", dc, Text{&P::getDescription, &P::setDescription}},
        {"identifier", dc, Text{&P::getIdentifier, &P::setIdentifier}},
        {"keywords", cp, CoreProperty::Keywords{&P::getKeywords, &P::setKeywords}},
        {"language", dc, Text{&P::getLanguage, &P::setLanguage}},
        {"lastModifiedBy", cp, Text{&P::getLastModifiedBy, &P::setLastModifiedBy}},
        {"lastPrinted", cp, Time{&P::getLastPrinted, &P::setLastPrinted}},
        {"modified", dcterms, Time{&P::getModified, &P::setModified}},
        {"revision", cp, Text{&P::getRevision, &P::setRevision}},
        {"subject", dc, Text{&P::getSubject, &P::setSubject}},
        {"title", dc, Text{&P::getTitle, &P::setTitle}},
        {"version", cp, Text{&P::getVersion, &P::setVersion}},
    }};
    return all;
}

void CoreProperties::clear() {
    *this = CoreProperties();
}

bool CoreProperties::isEmpty() const {
    return std::ranges::none_of(
        getAllCoreProperties(),
        [this](const CoreProperty& property) {
            return std::visit([this](const auto& access) { return (this->*access.get)().has_value(); },
                              property.access);
        });
}

} // namespace opc::model
