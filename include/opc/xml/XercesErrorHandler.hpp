// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <xercesc/dom/DOMErrorHandler.hpp>

namespace opc::model {

/// Keeps the message of the error that stopped a parse or a serialisation.
///
/// Warnings are ignored and the operation continues; any other error stops it. A `XercesGuard` outlives the handler.
class OPCRAFT_API XercesErrorHandler final : public xercesc::DOMErrorHandler {
public:
    XercesErrorHandler() = default;
    ~XercesErrorHandler() override;

    XercesErrorHandler(const XercesErrorHandler&) = delete;
    XercesErrorHandler& operator=(const XercesErrorHandler&) = delete;

    /// @return whether to continue: true for a warning, false otherwise.
    bool handleError(const xercesc::DOMError& error) override;

    /// @throws InvalidXMLDocument with the kept message, when there is one.
    void throwIfError() const;

private:
    XMLCh* message_ = nullptr;
};

} // namespace opc::model
