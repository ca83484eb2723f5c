// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "xml/ResourceRefuser.hpp"

#include <xercesc/dom/DOMConfiguration.hpp>
#include <xercesc/dom/DOMErrorHandler.hpp>
#include <xercesc/dom/DOMLSParser.hpp>

#include <string>

namespace opc::model {

/// The settings of a parser that refer to objects of one read, for its duration.
class ParserSettings {
public:
    /// Errors and requested resources are passed to the given objects, and nothing is loaded that a document names.
    ParserSettings(xercesc::DOMLSParser& parser, xercesc::DOMErrorHandler& errors, ResourceRefuser& refuser);
    ~ParserSettings();

    ParserSettings(const ParserSettings&) = delete;
    ParserSettings& operator=(const ParserSettings&) = delete;

    /// Changes a parameter if the parser allows it; it is not restored after the read.
    void setIfSettable(const XMLCh* parameter, bool value);

    /// Sets the location of schemas; `parameter` outlives the read.
    void setLocation(const XMLCh* parameter, const std::u16string& location);

private:
    void setPointer(const XMLCh* parameter, const void* value);

    xercesc::DOMConfiguration& configuration_;
    const XMLCh* locationParameter_ = nullptr;
};

} // namespace opc::model
