// SPDX-License-Identifier: Apache-2.0
#include <opc/xml/XercesString.hpp>

#include "xml/XercesErrors.hpp"

#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

namespace opc::model {

namespace {

struct Deallocation {
    void operator()(void* memory) const noexcept { xercesc::XMLPlatformUtils::fgMemoryManager->deallocate(memory); }
};

char16_t* duplicate(const char16_t* text, std::size_t length) {
    const auto allocate = [length] {
        void* memory = xercesc::XMLPlatformUtils::fgMemoryManager->allocate((length + 1) * sizeof(char16_t));
        return std::unique_ptr<char16_t, Deallocation>(static_cast<char16_t*>(memory));
    };
    char16_t* copy = translatingXercesErrors(allocate).release();
    *std::copy_n(text, length, copy) = u'\0';
    return copy;
}

char16_t* duplicate(const char16_t* text) {
    return text == nullptr ? nullptr : duplicate(text, std::char_traits<char16_t>::length(text));
}

} // namespace

XercesString::XercesString(const std::u16string& text) : text_(duplicate(text.data(), text.size())) {}

XercesString::XercesString(const char16_t* text) : text_(duplicate(text)) {}

XercesString::XercesString(const XercesString& other) : XercesString(other.constText()) {}

XercesString::XercesString(XercesString&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}

XercesString& XercesString::operator=(XercesString other) noexcept {
    std::swap(text_, other.text_);
    return *this;
}

XercesString::~XercesString() {
    if (text_ != nullptr)
        xercesc::XMLString::release(&text_);
}

std::u16string XercesString::toString() const {
    if (text_ == nullptr)
        throw std::logic_error("a null XML string has no text");
    return text_;
}

bool XercesString::operator==(const char16_t* other) const noexcept {
    return xercesc::XMLString::equals(text_, other);
}

} // namespace opc::model
