// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/InputStream.hpp>
#include <opc/core/OutputStream.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include "support/PackageContent.hpp"
#include "support/PackageXml.hpp"
#include "support/ScriptedPackage.hpp"
#include "support/Table.hpp"

#include <boost/core/demangle.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace opc::model::test {

using interfaces::OpenMode;
using opc::test::contentTypes;
using opc::test::readTable;
using opc::test::relationshipsXml;
using opc::test::ScriptedPackage;

/// What an action throws, as "Class: message", with the text of its error code in brackets if it has one; "nothing"
/// when it throws nothing.
template <class Action>
std::string thrownBy(Action action) {
    try {
        action();
    } catch (const std::exception& e) {
        const std::string name = boost::core::demangle(typeid(e).name());
        const auto* ours = dynamic_cast<const opc::Exception*>(&e);
        const std::string code = ours && ours->code() ? " [" + ours->code().message() + "]" : "";
        return name.substr(name.rfind(':') + 1) + ": " + e.what() + code;
    }
    return "nothing";
}

inline void expectAllThrow(const std::string& expected, std::initializer_list<std::function<void()>> actions) {
    for (const auto& action : actions)
        EXPECT_EQ(thrownBy(action), expected) << "action " << &action - actions.begin();
}

/// A content types stream that gives every ".xml" and ".rels" part its type.
inline std::string usualContentTypes() {
    return contentTypes("<Default Extension=\"rels\" "
                        "ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>"
                        "<Default Extension=\"xml\" ContentType=\"application/xml\"/>");
}

inline Part create(Package& package, const std::u16string& name,
                   const std::u16string& contentType = u"application/xml") {
    return package.createPart(name, contentType, StandardPartInfo());
}

inline void write(const Part& part, const std::string& text) {
    OutputStream* stream = part.getOutputStream();
    stream->write(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    stream->close();
}

inline std::string read(const Part& part) {
    return opc::test::bytesOf(part);
}

inline std::string namesOf(const std::vector<Part>& parts) {
    std::string names;
    for (const Part& part : parts)
        names += (names.empty() ? "" : " ") + toASCIIString(part.getName().toString());
    return names;
}

inline std::string idsOf(const std::vector<Relationship>& relationships) {
    std::string ids;
    for (const Relationship& relationship : relationships)
        ids += (ids.empty() ? "" : " ") + toASCIIString(relationship.getID());
    return ids;
}

} // namespace opc::model::test
