// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Properties.hpp"

#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <string>
#include <vector>

namespace opcraft {

/// What a core properties part holds for a property and its read value does not: a date that the time type cannot
/// hold, or a text beside a comment, a CDATA section or a keyword.
struct UnreadText {
    const Property* property;
    std::u16string text; ///< all text of the element
};

/// The XML of a core properties part, for what the library's values do not tell.
class CorePropertiesXml {
public:
    /// @throws InvalidXMLDocument when the bytes are no XML.
    explicit CorePropertiesXml(const std::vector<unsigned char>& bytes);

    /// What would be lost if the part were written anew from the values that were read from it.
    std::vector<UnreadText> findUnread(const opc::model::CoreProperties& values) const;

    /// The name of the element for which reading the part fails with a message; empty when no element alone is to
    /// blame. Takes the document apart.
    std::string findCulprit(const std::string& message);

private:
    opc::model::XercesGuard guard_;
    opc::model::ParserHandle parser_;
    xercesc::DOMElement* root_;
};

} // namespace opcraft
