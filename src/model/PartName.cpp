// SPDX-License-Identifier: Apache-2.0
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/PartName.hpp>

#include <algorithm>
#include <string_view>

namespace opc::model {

namespace {

constexpr std::u16string_view relationshipsExtension = u".rels";

/// The value of a hexadecimal digit. Anything else gives a value outside every byte that is looked for.
int hexValue(char16_t digit) noexcept {
    if (digit >= u'0' && digit <= u'9')
        return digit - u'0';
    if (digit >= u'a' && digit <= u'f')
        return digit - u'a' + 10;
    if (digit >= u'A' && digit <= u'F')
        return digit - u'A' + 10;
    return 0x1000;
}

int escapedValue(std::u16string_view segment, std::size_t percent) noexcept {
    const auto digit = [&](std::size_t at) { return at < segment.size() ? hexValue(segment[at]) : 0x1000; };
    return 16 * digit(percent + 1) + digit(percent + 2);
}

bool isUnreserved(int value) noexcept {
    return (value >= 'A' && value <= 'Z') || (value >= 'a' && value <= 'z') || (value >= '0' && value <= '9') ||
           value == '-' || value == '.' || value == '_' || value == '~';
}

void throwIfForbiddenEscape(std::u16string_view segment) {
    for (std::size_t at = segment.find(u'%'); at != std::u16string_view::npos; at = segment.find(u'%', at + 3)) {
        const int value = escapedValue(segment, at);
        if (value == '/' || value == '\\')
            throw InvalidPartName("A segment shall not contain percent-encoded forward slash ('/'), or backward "
                                  "slash ('') characters. [M1.7]");
        if (isUnreserved(value))
            throw InvalidPartName("A segment shall not contain percent-encoded unreserved characters. [M1.8]");
    }
}

void throwIfInvalidSegment(std::u16string_view segment) {
    if (segment.empty())
        throw InvalidPartName("A part name shall not have empty segments [M1.3]");
    if (segment.back() == URI::getDot()) {
        if (segment.find_first_not_of(URI::getDot()) == std::u16string_view::npos)
            throw InvalidPartName("A segment shall include at least one non-dot character. [M1.10]");
        throw InvalidPartName("A segment shall not end with a dot ('.') character [M1.9]");
    }
    throwIfForbiddenEscape(segment);
}

/// Calls `action` for the segments behind the first slash, empty ones included.
template <class Action>
void forEachSegment(std::u16string_view text, Action action) {
    std::size_t slash = text.find(URI::getSlash());
    while (slash != std::u16string_view::npos) {
        const std::size_t next = text.find(URI::getSlash(), slash + 1);
        action(text.substr(slash + 1, next == std::u16string_view::npos ? next : next - slash - 1));
        slash = next;
    }
}

} // namespace

const char16_t* const PartName::FORWARD_SLASH_STRING = u"/";
const char16_t* const PartName::PACKAGE_RELATIONSHIPS_ROOT_NAME = u"/_rels/.rels";
const char16_t* const PartName::RELATIONSHIP_PART_SEGMENT_NAME = u"_rels";
const char16_t* const PartName::RELATIONSHIP_PART_EXTENSION_NAME = u".rels";

PartName::PartName(const URI& uri) : uri_(uri) {
    init(true);
}

PartName::PartName(const std::u16string& name) : uri_(name) {
    init(true);
}

PartName::PartName(const char16_t* name) : uri_(name) {
    init(true);
}

PartName::PartName(const std::u16string& name, bool /*unchecked*/) : uri_(name) {
    init(false);
}

void PartName::init(bool validate) {
    isPackageRoot_ = isPackageRootUri(uri_);
    if (isPackageRoot_)
        return;
    if (validate)
        throwExceptionIfInvalidPartUri(uri_);
    isRelationship_ = isRelationshipUri(uri_);
}

std::u16string PartName::getExtension() const {
    return detail::getExtension(uri_.pathView());
}

std::u16string PartName::getRelationshipPartName() const {
    if (isPackageRoot_)
        return PACKAGE_RELATIONSHIPS_ROOT_NAME;
    if (isRelationship_)
        throw InvalidPartName("Relationship part can't have an associated relationship part name");
    const std::u16string_view path = uri_.pathView();
    const std::size_t file = path.rfind(URI::getSlash()) + 1;
    std::u16string name;
    name.reserve(path.size() + std::size(u"_rels/.rels"));
    name += path.substr(0, file);
    name += RELATIONSHIP_PART_SEGMENT_NAME;
    name += FORWARD_SLASH_STRING;
    name += path.substr(file);
    return name += RELATIONSHIP_PART_EXTENSION_NAME;
}

std::u16string PartName::getSourcePartName() const {
    if (!isRelationship_)
        throw InvalidPartName("Part name is not a relationship part name.");
    if (uri_.toString() == PACKAGE_RELATIONSHIPS_ROOT_NAME)
        return FORWARD_SLASH_STRING;
    const std::u16string path = uri_.getPath();
    const std::size_t slash = path.rfind(URI::getSlash());
    const std::u16string folder = path.substr(0, slash);
    std::u16string file = path.substr(slash + 1);
    // The first ".rels", not the last: "a.rels.rels" is taken for the relationships of "a".
    file.resize(file.find(relationshipsExtension));
    return folder.substr(0, folder.rfind(URI::getSlash())) + FORWARD_SLASH_STRING + file;
}

void PartName::throwExceptionIfEmptyURI(const URI& uri) {
    if (uri.view().empty())
        throw InvalidPartName("A part name shall not be empty [M1.1]");
}

void PartName::throwExceptionIfAbsoluteUri(const URI& uri) {
    if (uri.isAbsolute())
        throw InvalidPartName("Absolute URI forbidden as a part name.");
}

void PartName::throwExceptionIfPartNameDoesNotStartWithForwardSlash(const URI& uri) {
    if (!uri.hasAbsolutePath())
        throw InvalidPartName("A part name shall start with a forward slash ('/') character [M1.4]");
}

void PartName::throwExceptionIfPartNameEndsWithForwardSlash(const URI& uri) {
    if (uri.view().ends_with(URI::getSlash()))
        throw InvalidPartName("A part name shall not have a forward slash as the last character [M1.5]");
}

void PartName::throwExceptionIfPartNameHasInvalidSegments(const URI& uri) {
    forEachSegment(uri.view(), throwIfInvalidSegment);
}

void PartName::throwExceptionIfInvalidPartUri(const URI& uri) {
    throwExceptionIfEmptyURI(uri);
    throwExceptionIfAbsoluteUri(uri);
    throwExceptionIfPartNameDoesNotStartWithForwardSlash(uri);
    throwExceptionIfPartNameEndsWithForwardSlash(uri);
    throwExceptionIfPartNameHasInvalidSegments(uri);
}

void PartName::checkPCharCompliance(const std::u16string& segment) {
    throwIfForbiddenEscape(segment);
}

std::vector<std::u16string> PartName::splitWithEmptySegments(const std::u16string& text) {
    std::vector<std::u16string> segments;
    forEachSegment(text, [&](std::u16string_view segment) { segments.emplace_back(segment); });
    return segments;
}

bool PartName::isPackageRootUri(const URI& uri) {
    return uri.pathView() == FORWARD_SLASH_STRING;
}

bool PartName::isRelationshipUri(const URI& uri) {
    return detail::isRelationshipsPartName(uri.pathView());
}

int compare(const PartName& name, const std::u16string& text) noexcept {
    return name.uri_.compare(text);
}

bool operator==(const PartName& name, const std::u16string& text) noexcept {
    return compare(name, text) == 0;
}

bool operator!=(const PartName& name, const std::u16string& text) noexcept {
    return compare(name, text) != 0;
}

bool operator<(const PartName& name, const std::u16string& text) noexcept {
    return compare(name, text) < 0;
}

bool operator==(const std::u16string& text, const PartName& name) noexcept {
    return compare(name, text) == 0;
}

bool operator!=(const std::u16string& text, const PartName& name) noexcept {
    return compare(name, text) != 0;
}

bool operator<(const std::u16string& text, const PartName& name) noexcept {
    return compare(name, text) > 0;
}

} // namespace opc::model
