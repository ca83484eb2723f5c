// SPDX-License-Identifier: Apache-2.0
#include "xml/PlainXml.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <string_view>

namespace opc::model {

namespace {

bool isUTF8(const std::vector<unsigned char>& bytes) {
    try {
        toString(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
        return true;
    } catch (const Exception&) {
        return false;
    }
}

} // namespace

bool isPlainXml(const std::vector<unsigned char>& bytes, const xercesc::DOMDocument& document) {
    const XMLCh* version = document.getXmlVersion();
    const XMLCh* encoding = document.getXmlEncoding();
    return (version == nullptr || std::u16string_view(version) == u"1.0") &&
           (encoding == nullptr || *encoding == 0 || caselessCompare(encoding, u"UTF-8") == 0) &&
           std::find(bytes.begin(), bytes.end(), 0) == bytes.end() && isUTF8(bytes);
}

} // namespace opc::model
