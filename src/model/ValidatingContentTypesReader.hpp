// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <string>
#include <vector>

namespace opc::model {

/// A Default or an Override.
struct ContentTypeDeclaration {
    bool isDefault;
    std::u16string name; ///< the Extension as it is written, or the PartName
    ContentType type;
};

/// Reads content types streams with a validating parser, which says what is wrong with one and where.
class ValidatingContentTypesReader {
public:
    /// @throws InvalidXMLSchema when the embedded schema does not load.
    explicit ValidatingContentTypesReader(const Limits& limits);

    /// All Defaults, and behind them all Overrides.
    /// @throws InvalidXMLDocument, InvalidPartContent, InvalidContentType
    std::vector<ContentTypeDeclaration> read(const std::vector<unsigned char>& bytes);

private:
    class Entries;

    XercesGuard guard_;
    ParserHandle parser_;
    XercesString namespace_;
    XercesString types_;
    XercesString default_;
    XercesString override_;
    XercesString extension_;
    XercesString partName_;
    XercesString contentType_;
};

} // namespace opc::model
