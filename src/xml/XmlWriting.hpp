// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/PlainXmlWriter.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <functional>
#include <string>
#include <vector>

namespace opc::model {

/// Builds a tree of what it is told, so that the writers of `XercesHelper` write it.
class TreeXmlWriter final : public detail::XmlWriter {
public:
    /// @throws InvalidXMLDocument when Xerces fails.
    explicit TreeXmlWriter(bool isStandalone);

    // Each throws InvalidXMLDocument for a character that XML 1.0 §2.2 excludes.
    void start(std::string_view name) override;
    void attribute(std::string_view name, std::u16string_view value) override;
    void text(std::u16string_view text) override;
    void end() override;

    /// The document, after all of its elements have ended.
    /// @throws InvalidXMLDocument as `XercesHelper::writeDocumentToStream`.
    std::vector<unsigned char> write(detail::XmlLayout layout, const Limits& limits) const;

private:
    XercesGuard guard_;
    DocumentHandle document_;
    xercesc::DOMElement* element_ = nullptr; ///< the last one that has not ended
};

/// The bytes of a document, in UTF-8 with an XML declaration.
/// @param write tells a writer the document, alike each time it is called: a tree is built only of what cannot be
///        written without one.
/// @param limits those for XML apply.
/// @param kept the XML of elements that stand as they are behind all others in the root, with the declarations of
///        namespaces that they need; they may be invalid.
/// @throws InvalidXMLDocument when the document could not be read again, as `XercesHelper::writeDocumentToStream`; and
///         what `write` throws.
std::vector<unsigned char> writeXml(detail::XmlLayout layout, bool isStandalone, const Limits& limits,
                                    const std::function<void(detail::XmlWriter&)>& write,
                                    const std::vector<std::string>& kept = {});

} // namespace opc::model
