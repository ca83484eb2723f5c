// SPDX-License-Identifier: Apache-2.0
// The content types stream. The input is the stream; the names that are looked up are taken from it.
#include <opc/errors/Errors.hpp>
#include <opc/model/PartName.hpp>
#include <opc/xml/XercesGuard.hpp>

#include "Fuzz.hpp"
#include "model/ContentTypeSource.hpp"
#include "support/ScriptedPackage.hpp"

#include <algorithm>
#include <map>
#include <optional>

namespace {

using namespace opc::model;
using opc::fuzz::accepted;

constexpr std::size_t mostNames = 20;

/// The values of the attributes of that name, as far as a look at the bytes finds them.
std::vector<std::u16string> attributeValues(std::string_view text, std::string_view attribute) {
    std::vector<std::u16string> values;
    std::size_t at = text.find(attribute);
    for (; at != std::string_view::npos && values.size() < mostNames; at = text.find(attribute, at + 1)) {
        const std::size_t start = text.find_first_of("\"'", at);
        if (start == std::string_view::npos)
            break;
        const std::size_t end = std::min(text.find(text[start], start + 1), text.size());
        values.push_back(opc::toString(text.substr(start + 1, end - start - 1), false));
    }
    return values;
}

std::vector<PartName> namesToLookUp(std::string_view stream) {
    std::vector<PartName> names{u"/a.xml", u"/word/document.xml", u"/_rels/.rels", u"/noextension"};
    for (const std::u16string& value : attributeValues(stream, "PartName"))
        accepted([&] { names.emplace_back(value); });
    for (const std::u16string& value : attributeValues(stream, "Extension"))
        accepted([&] { names.emplace_back(u"/folder/file." + value); });
    return names;
}

using Types = std::map<PartName, std::u16string>;

Types lookUp(ContentTypeSource& source, const std::vector<PartName>& names) {
    Types types;
    for (const PartName& name : names)
        accepted([&] { types.emplace(name, source.getContentType(name, types.count(name) == 0).toString()); });
    return types;
}

/// What a package does: every part takes its type, some come and go, and the stream is written.
Types change(ContentTypeSource& source, const std::vector<PartName>& names) {
    Types types = lookUp(source, names);
    const ContentType other(u"application/x-other;a=\"b c\"");
    const PartName added(u"/another/part.xml");
    if (types.count(added) == 0) {
        source.addContentType(added, other);
        types.emplace(added, other.toString());
    }
    if (types.size() > 1 && types.begin()->first != added) {
        source.removeContentType(types.begin()->first);
        types.erase(types.begin());
    }
    return types;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const XercesGuard guard;
    opc::test::ScriptedPackage store(std::string(data, data + size));
    std::optional<ContentTypeSource> source;
    if (!accepted([&] { source.emplace(store, false); }))
        return 0;
    const std::vector<PartName> names = namesToLookUp({reinterpret_cast<const char*>(data), size});
    const Types types = change(*source, names);
    source->save();

    // What was written gives the same parts the same types.
    ContentTypeSource again(store, false);
    for (const auto& [name, type] : types)
        OPCRAFT_REQUIRE(again.getContentType(name, true).toString() == type);
    return 0;
}
