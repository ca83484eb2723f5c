// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlWriting.hpp"

#include <opc/core/ByteArrayOutAdaptor.hpp>
#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include <optional>

namespace opc::model {

namespace {

using Bytes = std::vector<unsigned char>;

std::optional<Bytes> writePlain(detail::XmlLayout layout, bool isStandalone, const Limits& limits,
                                const std::function<void(detail::XmlWriter&)>& write) {
    try {
        detail::PlainXmlWriter writer(layout, isStandalone, limits);
        write(writer);
        return writer.take();
    } catch (const Exception&) { // something before may be wrong, too
        return std::nullopt;
    }
}

} // namespace

TreeXmlWriter::TreeXmlWriter(bool isStandalone) : document_(XercesHelper::createDocument()) {
    document_->setXmlStandalone(isStandalone);
}

void TreeXmlWriter::start(std::string_view name) {
    const XercesString qualifiedName(toString(name));
    element_ = element_ == nullptr ? XercesHelper::appendElement(document_.get(), qualifiedName)
                                   : XercesHelper::appendElement(element_, qualifiedName);
}

void TreeXmlWriter::attribute(std::string_view name, std::u16string_view value) {
    XercesHelper::setElementAttribute(element_, XercesString(toString(name)), std::u16string(value));
}

void TreeXmlWriter::text(std::u16string_view text) {
    XercesHelper::setElementText(element_, std::u16string(text));
}

void TreeXmlWriter::end() {
    element_ = dynamic_cast<xercesc::DOMElement*>(element_->getParentNode());
}

Bytes TreeXmlWriter::write(detail::XmlLayout layout, const Limits& limits) const {
    const WriterHandle writer = layout == detail::XmlLayout::Indented ? XercesHelper::createPrettyPrintingWriter()
                                                                      : XercesHelper::createWriter();
    Bytes bytes;
    ByteArrayOutAdaptor stream(bytes);
    XercesHelper::writeDocumentToStream(*writer, document_.get(), stream, limits);
    return bytes;
}

Bytes writeXml(detail::XmlLayout layout, bool isStandalone, const Limits& limits,
               const std::function<void(detail::XmlWriter&)>& write) {
    if (auto bytes = writePlain(layout, isStandalone, limits, write))
        return *std::move(bytes);
    TreeXmlWriter writer(isStandalone);
    write(writer);
    return writer.write(layout, limits);
}

} // namespace opc::model
