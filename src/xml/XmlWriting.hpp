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

/// What a document that was read in pieces keeps as it stands.
struct KeptXml {
    std::string rootAttributes{};        ///< as they stand in a tag, each behind a blank; one does not replace another
    std::vector<std::string> elements{}; ///< with the declarations of namespaces that they need; they may be invalid

    bool empty() const noexcept { return rootAttributes.empty() && elements.empty(); }
};

/// The bytes of a document, in UTF-8 with an XML declaration.
/// @param write tells a writer the document, alike each time it is called: a tree is built only of what cannot be
///        written without one.
/// @param limits those for XML apply.
/// @param kept attributes that stand before all others of the root, and elements that stand behind all others in it.
/// @throws InvalidXMLDocument when the document could not be read again, as `XercesHelper::writeDocumentToStream`; and
///         what `write` throws.
std::vector<unsigned char> writeXml(detail::XmlLayout layout, bool isStandalone, const Limits& limits,
                                    const std::function<void(detail::XmlWriter&)>& write, const KeptXml& kept = {});

} // namespace opc::model
