// SPDX-License-Identifier: Apache-2.0
#include "signatures/ObjectText.hpp"

#include <opc/core/Strings.hpp>

#include <algorithm>
#include <string>

namespace opc::model {

namespace {

/// The text may be that of thousands of references, which is not held in two encodings at the same time.
void convert(std::u16string_view text, const std::function<void(std::string_view)>& take) {
    constexpr std::size_t blockSize = 32UL * 1024;
    while (!text.empty()) {
        std::size_t size = std::min(text.size(), blockSize);
        const bool endsInPair = size < text.size() && (text[size - 1] & 0xFC00) == 0xD800;
        size += endsInPair ? 1 : 0;
        take(detail::toUTF8String(text.substr(0, size)));
        text.remove_prefix(size);
    }
}

} // namespace

void forEachDigestedBlock(std::u16string_view xmlText, const std::function<void(std::string_view)>& take) {
    const std::u16string declaration = u"xmlns=\"" + std::u16string(DSIG_NAMESPACE) + u"\" ";
    const std::size_t found = std::min(xmlText.find(declaration), xmlText.size());
    convert(xmlText.substr(0, found), take);
    convert(xmlText.substr(std::min(found + declaration.size(), xmlText.size())), take);
}

} // namespace opc::model
