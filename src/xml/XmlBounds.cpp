// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlBounds.hpp"

#include <opc/errors/Errors.hpp>
#include <opc/xml/XercesHelper.hpp>

namespace opc::model {

namespace {

void throwIfMore(std::uint64_t count, std::uint64_t bound, const char* before, const char* after) {
    if (count > bound)
        throw InvalidXMLDocument(before + std::to_string(bound) + after);
}

} // namespace

void throwIfTooLarge(std::uint64_t bytes, std::uint64_t maximum) {
    constexpr std::uint64_t MEBIBYTE = 1024ULL * 1024;
    const char* before = "XML content is larger than ";
    if (maximum % MEBIBYTE == 0)
        throwIfMore((bytes + MEBIBYTE - 1) / MEBIBYTE, maximum / MEBIBYTE, before, " MiB");
    else
        throwIfMore(bytes, maximum, before, " bytes");
}

void throwIfTooDeep(std::uint64_t depth, std::uint64_t maximum) {
    throwIfMore(depth, maximum, "XML content is nested deeper than ", " elements");
}

void throwIfTooManyAttributes(std::uint64_t count) {
    throwIfMore(count, XercesHelper::MAX_XML_ATTRIBUTES, "XML content has an element with more than ", " attributes");
}

void throwIfTooManyNodes(std::uint64_t count, std::uint64_t maximum) {
    throwIfMore(count, maximum, "XML content has more than ", " nodes");
}

void throwIfTooManyNames(std::uint64_t count) {
    throwIfMore(count, XercesHelper::MAX_XML_NAMES, "XML content has more than ", " different names");
}

void throwIfTooManyIdComparisons(std::uint64_t count) {
    throwIfMore(count, XercesHelper::MAX_XML_ID_COMPARISONS, "XML content has IDs that take more than ",
                " comparisons");
}

bool isNamespaceDeclaration(std::u16string_view name) {
    return name == u"xmlns" || name.starts_with(u"xmlns:");
}

void throwIfNamespaceTooLong(std::uint64_t length) {
    throwIfMore(length, XercesHelper::MAX_XML_NAMESPACE_LENGTH, "XML content has a namespace longer than ",
                " characters");
}

} // namespace opc::model
