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
        {"category", CP, Text{&P::getCategory, &P::setCategory}},
        {"contentStatus", CP, Text{&P::getContentStatus, &P::setContentStatus}},
        {"created", DCTERMS, Time{&P::getCreated, &P::setCreated}},
        {"creator", DC, Text{&P::getCreator, &P::setCreator}},
        {"description", DC, Text{&P::getDescription, &P::setDescription}},
        {"identifier", DC, Text{&P::getIdentifier, &P::setIdentifier}},
        {"keywords", CP, CoreProperty::Keywords{&P::getKeywords, &P::setKeywords}},
        {"language", DC, Text{&P::getLanguage, &P::setLanguage}},
        {"lastModifiedBy", CP, Text{&P::getLastModifiedBy, &P::setLastModifiedBy}},
        {"lastPrinted", CP, Time{&P::getLastPrinted, &P::setLastPrinted}},
        {"modified", DCTERMS, Time{&P::getModified, &P::setModified}},
        {"revision", CP, Text{&P::getRevision, &P::setRevision}},
        {"subject", DC, Text{&P::getSubject, &P::setSubject}},
        {"title", DC, Text{&P::getTitle, &P::setTitle}},
        {"version", CP, Text{&P::getVersion, &P::setVersion}},
    }};
    return all;
}

void CoreProperties::addKeyword(std::string_view keyword, std::string_view language) {
    Keyword added(fromUTF8(keyword), fromUTF8(language));
    (keywords_ ? *keywords_ : keywords_.emplace()).push_back(std::move(added));
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
