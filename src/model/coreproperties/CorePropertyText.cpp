// SPDX-License-Identifier: Apache-2.0
#include "model/coreproperties/CorePropertyText.hpp"

#include <opc/core/Time.hpp>

namespace opc::model {

namespace {

class Setter {
public:
    Setter(CoreProperties& properties, const std::u16string& text) : properties_(properties), text_(text) {}

    void operator()(const CoreProperty::Text& access) { (properties_.*access.set)(text_); }

    void operator()(const CoreProperty::Time& access) {
        const auto time = convertStringToTime(text_);
        if (!time.is_special())
            (properties_.*access.set)(time);
    }

    void operator()(const CoreProperty::Keywords& access) {
        const std::size_t end = text_.find_last_not_of(u" \t\r\n") + 1;
        (properties_.*access.set)({{text_.substr(0, end), u""}});
    }

private:
    CoreProperties& properties_;
    const std::u16string& text_;
};

} // namespace

void setFromText(CoreProperties& properties, const CoreProperty& property, const std::u16string& text) {
    std::visit(Setter(properties, text), property.access);
}

} // namespace opc::model
