// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlWriting.hpp"

#include <opc/core/ByteArrayOutAdaptor.hpp>
#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include "xml/XmlBounds.hpp"

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

/// Puts elements before the end tag of the root.
void insertElements(std::string& document, const std::string& root, const std::vector<std::string>& elements,
                    bool isIndented) {
    const std::string endTag = "</" + root + ">";
    std::size_t end = document.rfind(endTag);
    const bool isEmpty = end == document.npos;
    if (isEmpty)
        end = document.rfind("/>");
    std::string text = isEmpty ? ">" : "";
    for (const std::string& element : elements)
        text += (isIndented && (isEmpty || !text.empty()) ? "\n  " : isIndented ? "  " : "") + element;
    text += (isIndented ? "\n" : "") + (isEmpty ? endTag : "");
    document.replace(end, isEmpty ? 2 : 0, text);
}

/// @param bytes a document that was written here.
Bytes withKept(const Bytes& bytes, const KeptXml& kept, detail::XmlLayout layout, const Limits& limits) {
    std::string document(bytes.begin(), bytes.end());
    const std::size_t begin = document.find('<', document.find("?>")) + 1; // behind the declaration
    const std::string root = document.substr(begin, document.find_first_of(" />", begin) - begin);
    document.insert(begin + root.size(), kept.rootAttributes);
    if (!kept.elements.empty())
        insertElements(document, root, kept.elements, layout == detail::XmlLayout::Indented);
    throwIfTooLarge(document.size(), limits.xmlSize);
    return {document.begin(), document.end()};
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
               const std::function<void(detail::XmlWriter&)>& write, const KeptXml& kept) {
    if (!kept.empty())
        return withKept(writeXml(layout, isStandalone, limits, write), kept, layout, limits);
    if (auto bytes = writePlain(layout, isStandalone, limits, write))
        return *std::move(bytes);
    TreeXmlWriter writer(isStandalone);
    write(writer);
    return writer.write(layout, limits);
}

} // namespace opc::model
