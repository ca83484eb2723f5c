// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Properties.hpp"

#include <set>
#include <string>
#include <vector>

namespace opcraft {

/// What a command line asks of core properties. Every function that takes arguments throws a `Failure` for wrong usage:
/// for an unknown property, for one that is named twice, and for a value that no package could hold.
class PropertyEdits {
public:
    /// @param assignment "NAME=VALUE"; the value of a date is W3CDTF.
    void set(const std::string& assignment);
    void unset(const std::string& name);
    /// @param arguments "TEXT" or "TEXT@LANGUAGE"; an "@" at the end ends a text that has no language.
    void setKeywords(const std::vector<std::string>& arguments);

    bool isEmpty() const { return named_.empty(); }
    bool names(const Property& property) const { return named_.count(&property) != 0; }

    /// The properties with what was set and without what was unset; the others are as they were.
    opc::model::CoreProperties applyTo(const opc::model::CoreProperties& properties) const;

private:
    void claim(const Property& property, const std::string& argument);

    std::set<const Property*> named_;
    opc::model::CoreProperties values_; // of those that are set; what is named and not here is unset
};

/// The keyword as `PropertyEdits::setKeywords` takes it.
std::u16string toArgument(const opc::model::CoreProperties::Keyword& keyword);

} // namespace opcraft
