// SPDX-License-Identifier: Apache-2.0
#include "signatures/XmlText.hpp"

#include "xml/CanonicalXml.hpp"
#include "xml/XmlBounds.hpp"

#include <opc/xml/XercesHelper.hpp>

namespace opc::model {

void XmlText::start(const char* name, std::initializer_list<Attribute> attributes) {
    closeStartTag();
    open_.emplace_back(name);
    out_ += '<';
    out_ += name;
    for (const auto& [attribute, value] : attributes) {
        out_ += ' ';
        out_ += attribute;
        out_ += "=\"";
        appendCanonicalAttributeValue(out_, value);
        out_ += '"';
    }
    nodes_ += 1 + attributes.size();
    isStartTagOpen_ = true;
}

void XmlText::text(std::u16string_view text) {
    if (text.empty())
        return;
    closeStartTag();
    appendCanonicalText(out_, text);
}

void XmlText::end() {
    if (isStartTagOpen_ && emptyElements_ == EmptyElements::AsOneTag) {
        out_ += "/>";
        isStartTagOpen_ = false;
    } else {
        closeStartTag();
        out_ += "</" + open_.back() + '>';
    }
    open_.pop_back();
}

void XmlText::element(const char* name, std::u16string_view content) {
    start(name, {});
    text(content);
    end();
}

void XmlText::raw(const XmlText& element) {
    closeStartTag();
    out_ += element.out_;
    nodes_ += element.nodes_;
}

const std::string& XmlText::get() const {
    throwIfTooLarge(out_.size(), XercesHelper::MAX_XML_SIZE);
    throwIfTooManyNodes(nodes_, XercesHelper::MAX_XML_NODES);
    return out_;
}

void XmlText::closeStartTag() {
    if (isStartTagOpen_)
        out_ += '>';
    isStartTagOpen_ = false;
}

} // namespace opc::model
