// SPDX-License-Identifier: Apache-2.0
#include <opc/model/PartName.hpp>

#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include <optional>
#include <ostream>
#include <string_view>

namespace opc::model {

namespace {

using detail::PartNameFault;
using detail::PartNameRule;

const char* messageOf(PartNameRule rule) noexcept {
    switch (rule) {
    case PartNameRule::NotEmpty:
        return "A part name shall not be empty [M1.1]";
    case PartNameRule::NoScheme:
        return "Absolute URI forbidden as a part name.";
    case PartNameRule::AbsolutePath:
        return "A part name shall start with a forward slash ('/') character [M1.4]";
    case PartNameRule::NoSlashAtEnd:
        return "A part name shall not have a forward slash as the last character [M1.5]";
    case PartNameRule::NoEmptySegment:
        return "A part name shall not have empty segments [M1.3]";
    case PartNameRule::NoSegmentOfDots:
        return "A segment shall include at least one non-dot character. [M1.10]";
    case PartNameRule::NoDotAtEnd:
        return "A segment shall not end with a dot ('.') character [M1.9]";
    case PartNameRule::NoEscapedSlash:
        return "A segment shall not contain percent-encoded forward slash ('/'), or backward slash ('') characters. "
               "[M1.7]";
    case PartNameRule::NoEscapedUnreserved:
        break;
    }
    return "A segment shall not contain percent-encoded unreserved characters. [M1.8]";
}

void require(PartNameRule rule, bool holds) {
    if (!holds)
        throw InvalidPartName(messageOf(rule));
}

void throwIfFaulty(const std::optional<PartNameFault>& fault) {
    if (fault)
        throw InvalidPartName(messageOf(fault->rule));
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

PartName::PartName(const std::string& utf8) : uri_(utf8) {
    init(true);
}

PartName::PartName(const char* utf8) : uri_(utf8) {
    init(true);
}

PartName::PartName(const std::u16string& name, bool /*unchecked*/) : uri_(name) {
    init(false);
}

void PartName::init(bool validate) {
    if (isPackageRootUri(uri_))
        return;
    if (validate)
        throwExceptionIfInvalidPartUri(uri_);
    isRelationship_ = isRelationshipUri(uri_);
}

std::ostream& operator<<(std::ostream& stream, const PartName& name) {
    return stream << name.uri_;
}

std::u16string PartName::getExtension() const {
    return detail::getExtension(uri_.pathView());
}

std::u16string PartName::getRelationshipPartName() const {
    if (isRelationship_)
        throw InvalidPartName("Relationship part can't have an associated relationship part name");
    return detail::getRelationshipsPartName(uri_.pathView());
}

std::u16string PartName::getSourcePartName() const {
    if (!isRelationship_)
        throw InvalidPartName("Part name is not a relationship part name.");
    return detail::getSourcePartName(uri_.pathView());
}

void PartName::throwExceptionIfEmptyURI(const URI& uri) {
    require(PartNameRule::NotEmpty, !uri.view().empty());
}

void PartName::throwExceptionIfAbsoluteUri(const URI& uri) {
    require(PartNameRule::NoScheme, !uri.isAbsolute());
}

void PartName::throwExceptionIfPartNameDoesNotStartWithForwardSlash(const URI& uri) {
    require(PartNameRule::AbsolutePath, uri.hasAbsolutePath());
}

void PartName::throwExceptionIfPartNameEndsWithForwardSlash(const URI& uri) {
    require(PartNameRule::NoSlashAtEnd, !uri.view().ends_with(URI::getSlash()));
}

void PartName::throwExceptionIfPartNameHasInvalidSegments(const URI& uri) {
    throwIfFaulty(detail::findSegmentFault(uri.view()));
}

void PartName::throwExceptionIfInvalidPartUri(const URI& uri) {
    throwIfFaulty(detail::findPartNameFault(uri.view()));
}

void PartName::checkPCharCompliance(const std::u16string& segment) {
    throwIfFaulty(detail::findForbiddenEscape(segment));
}

std::vector<std::u16string> PartName::splitWithEmptySegments(const std::u16string& text) {
    std::vector<std::u16string> segments;
    for (std::size_t slash = text.find(URI::getSlash()); slash != text.npos;) {
        const std::size_t next = text.find(URI::getSlash(), slash + 1);
        segments.push_back(text.substr(slash + 1, next == text.npos ? next : next - slash - 1));
        slash = next;
    }
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
