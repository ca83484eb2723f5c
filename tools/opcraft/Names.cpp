// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"

#include "opcraft/Failure.hpp"
#include "opcraft/Suggestion.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/Characters.hpp>
#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>

#include <functional>

namespace opcraft {

namespace {

using opc::model::PartName;
using opc::model::URI;
using opc::storage::ZipItem;
using opc::storage::ZipItemKind;

// The characters that are not encoded besides letters, digits and "-._~" (RFC 3986 §2.2, §3.3).
const std::string IN_PART_NAME = "/:@!$&'()*+,;=%";
const std::string IN_TARGET = "/:@!$&'()*+,;=%?#[]";

/// Encodes every "%" that starts no escape.
std::u16string encodePercentSigns(const std::u16string& text) {
    std::u16string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        result += text[i];
        if (text[i] == u'%' && opc::detail::escapedByte<char16_t>(text, i) < 0)
            result += u"25";
    }
    return result;
}

std::u16string encoded(const std::string& argument, const std::string& allowed) {
    return URI::encodeComponent(encodePercentSigns(toUtf16(argument)), allowed);
}

/// The text with its escapes decoded to bytes: the same for different spellings of a part name.
std::string decoded(const std::u16string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int byte = opc::detail::escapedByte<char16_t>(text, i);
        if (byte >= 0) {
            bytes += static_cast<char>(byte);
            i += 2;
        } else {
            bytes += toUtf8(std::u16string_view(text).substr(i, 1));
        }
    }
    return bytes;
}

std::string withoutSlash(const std::string& name) {
    return name.empty() || name.front() != '/' ? name : name.substr(1);
}

std::u16string keyOf(const ZipItem& item) {
    return opc::toLowerASCIIString(item.kind == ZipItemKind::Part ? item.partName
                                                                  : u'/' + opc::toString(item.name, false));
}

using ItemTest = std::function<bool(const ZipItem&)>;

/// The tests in their order of precedence.
std::vector<ItemTest> testsFor(const std::string& argument) {
    const std::u16string name = encoded('/' + withoutSlash(argument), IN_PART_NAME);
    const std::u16string key = opc::toLowerASCIIString(name);
    return {
        [=](const ZipItem& item) { return item.name == argument; },
        [=](const ZipItem& item) { return item.name == withoutSlash(argument); },
        [=](const ZipItem& item) {
            return item.kind == ZipItemKind::ContentTypes &&
                   opc::caselessCompare(name, u"/%5BContent_Types%5D.xml") == 0;
        },
        [=](const ZipItem& item) { return opc::caselessCompare(item.partName, name) == 0; },
        [=](const ZipItem& item) { return decoded(keyOf(item)) == decoded(key); },
    };
}

std::vector<std::size_t> positionsOf(const std::vector<ZipItem>& items, const ItemTest& test) {
    std::vector<std::size_t> positions;
    for (std::size_t i = 0; i < items.size(); ++i)
        if (test(items[i]))
            positions.push_back(i);
    return positions;
}

} // namespace

const char* const PART_NAME_HELP = "What a part name cannot hold, such as spaces and letters outside of ASCII, is\n"
                                   "percent-encoded for you: \"/a b.xml\" is the part \"/a%20b.xml\".";

std::u16string toUtf16(const std::string& argument) {
    try {
        return opc::toString(argument);
    } catch (const opc::Exception&) {
        throw wrongArgument(argument, "not UTF-8");
    }
}

PartName toPartName(const std::string& argument) {
    const std::u16string name = encoded('/' + withoutSlash(argument), IN_PART_NAME);
    try {
        return PartName(name);
    } catch (const opc::Exception& e) {
        throw toFailure(e, "", toUtf8(name), ExitCode::WrongUsage);
    }
}

PartName toPartNameOfPart(const std::string& argument) {
    const PartName name = toPartName(argument);
    if (PartName::isPackageRootUri(name.getURI()))
        throw wrongArgument(argument, "this names the package, not a part");
    return name;
}

opc::model::ContentType toContentType(const std::string& argument) {
    try {
        return opc::model::ContentType(toUtf16(argument));
    } catch (const opc::model::InvalidContentType&) {
        throw wrongArgument(argument, "not a content type; an example is application/xml");
    }
}

opc::model::ContentType toContentTypeOfPart(const std::string& argument) {
    const opc::model::ContentType type = toContentType(argument);
    if (type == opc::model::PackageHelper::getRelationshipContentType())
        throw wrongArgument(argument, "this is the content type of relationships parts");
    return type;
}

URI toTarget(const std::string& argument) {
    try {
        return URI(encoded(argument, IN_TARGET));
    } catch (const opc::Exception& e) {
        throw wrongArgument(argument, e.what());
    }
}

std::vector<std::size_t> findItems(const std::vector<ZipItem>& items, const std::string& argument) {
    std::vector<std::size_t> found;
    for (const ItemTest& test : testsFor(argument)) {
        found = positionsOf(items, test);
        if (!found.empty())
            break;
    }
    return found;
}

std::string suggestItem(const std::vector<ZipItem>& items, const std::string& argument) {
    const std::string slash = argument.starts_with('/') ? "/" : "";
    std::vector<std::string> names;
    for (const ZipItem& item : items)
        names.push_back(slash + item.name);
    const std::string suggestion = suggest(argument, names);
    return suggestion.empty() ? "; 'opcraft list' shows the parts of a package" : suggestion;
}

std::vector<std::size_t> findSameNames(const std::vector<ZipItem>& items, std::size_t position) {
    const auto nameOf = [](const ZipItem& item) {
        return opc::toLowerASCIIString(encoded('/' + withoutSlash(item.name), IN_PART_NAME));
    };
    const std::u16string name = nameOf(items[position]);
    return positionsOf(items, [&](const ZipItem& item) { return nameOf(item) == name; });
}

} // namespace opcraft
