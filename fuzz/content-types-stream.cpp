// SPDX-License-Identifier: Apache-2.0
// The content types stream. The input is the stream; the names that are looked up are taken from it.
#include <opc/errors/Errors.hpp>
#include <opc/model/PartName.hpp>
#include <opc/xml/XercesGuard.hpp>

#include "Fuzz.hpp"
#include "model/ContentTypeSource.hpp"
#include "support/ScriptedPackage.hpp"

#include <map>

namespace {

using namespace opc::model;
using opc::fuzz::accepted;

using Types = std::map<PartName, std::u16string>;

/// Adds the names that are made of values of an attribute, as far as a look at the bytes finds them.
void addNames(const std::string& stream, const std::string& attribute, const std::u16string& start,
              std::vector<PartName>& names) {
    for (auto at = stream.find(attribute); at != std::string::npos && names.size() < 40;) {
        at = std::min(stream.find_first_of("\"'", at), stream.size() - 1);
        const std::size_t end = std::min(stream.find(stream[at], at + 1), stream.size());
        accepted([&] { names.emplace_back(start + opc::toString(stream.substr(at + 1, end - at - 1), false)); });
        at = stream.find(attribute, end);
    }
}

/// What a package does: every part takes its type, one comes and one goes, and the stream is written.
Types change(ContentTypeSource& source, const std::vector<PartName>& names) {
    Types types;
    for (const PartName& name : names)
        accepted([&] { types.emplace(name, source.getContentType(name, types.count(name) == 0).toString()); });
    const ContentType other(u"application/x-other;a=\"b c\"");
    const PartName added(u"/another/part.xml");
    if (types.emplace(added, other.toString()).second)
        source.addContentType(added, other);
    if (types.begin()->first != added) {
        source.removeContentType(types.begin()->first);
        types.erase(types.begin());
    }
    source.save();
    return types;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const XercesGuard guard;
    const std::string stream(data, data + size);
    opc::test::ScriptedPackage store(stream);
    std::optional<ContentTypeSource> source;
    if (!accepted([&] { source.emplace(store, false); }))
        return 0;
    std::vector<PartName> names{u"/a.xml", u"/word/document.xml", u"/_rels/.rels", u"/noextension"};
    addNames(stream, "PartName", u"", names);
    addNames(stream, "Extension", u"/folder/file.", names);

    // What was written gives the same parts the same types.
    const Types types = change(*source, names);
    ContentTypeSource again(store, false);
    for (const auto& [name, type] : types)
        OPCRAFT_REQUIRE(again.getContentType(name, true).toString() == type);
    return 0;
}
