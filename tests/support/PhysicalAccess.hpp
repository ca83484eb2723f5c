// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/core/interfaces/IPhysicalOutputStream.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include "support/PackageXml.hpp"
#include "support/Throws.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

/// Short forms for what tests do with a physical package.
namespace opc::test {

using interfaces::OpenMode;
using Errc = boost::system::errc::errc_t;
using PartInfo = model::StandardPartInfo;

/// Reads from where the stream stands to its end.
inline std::string readOn(interfaces::IPhysicalInputStream& stream, std::size_t chunk = 4096) {
    std::string bytes;
    std::vector<unsigned char> buffer(chunk);
    while (const unsigned long count = stream.read(buffer.data(), chunk))
        bytes.append(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count));
    return bytes;
}

inline std::string readAll(interfaces::IPhysicalInputStream& stream) {
    stream.open();
    std::string bytes = readOn(stream);
    stream.close();
    return bytes;
}

inline void write(interfaces::IPhysicalOutputStream& stream, const std::string& bytes) {
    stream.write(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

inline void writeAll(interfaces::IPhysicalOutputStream& stream, const std::string& bytes) {
    write(stream, bytes);
    stream.close();
}

inline interfaces::IPhysicalPart* findPart(interfaces::IPhysicalPackage& package, const std::u16string& name) {
    for (interfaces::IPhysicalPart* part : package.getParts())
        if (part->getName() == name)
            return part;
    return nullptr;
}

/// Reads a part; throws when it is not there.
inline std::string readPart(interfaces::IPhysicalPackage& package, const std::u16string& name) {
    interfaces::IPhysicalPart* part = findPart(package, name);
    if (!part)
        throw std::runtime_error("there is no part " + detail::toUTF8String(name));
    return readAll(*part->getInputStream());
}

inline void writePart(interfaces::IPhysicalPackage& package, const std::u16string& name, const std::string& bytes) {
    writeAll(*findPart(package, name)->getOutputStream(), bytes);
}

inline interfaces::IPhysicalPart* createPart(interfaces::IPhysicalPackage& package, const std::u16string& name,
                                             const std::string& bytes, const PartInfo& info = PartInfo()) {
    interfaces::IPhysicalPart* part = package.createPart(name, u"application/octet-stream", info);
    if (!bytes.empty())
        writeAll(*part->getOutputStream(), bytes);
    return part;
}

inline std::vector<std::string> partNames(interfaces::IPhysicalPackage& package) {
    std::vector<std::string> names;
    for (const interfaces::IPhysicalPart* part : package.getParts())
        names.push_back(detail::toUTF8String(part->getName()));
    return names;
}

/// Writes a content types stream that names every part there is.
inline void writeContentTypes(interfaces::IPhysicalPackage& package) {
    if (!package.hasContentTypeStream())
        return;
    std::string elements;
    for (const std::string& name : partNames(package))
        elements += "<Override PartName=\"" + name + "\" ContentType=\"application/octet-stream\"/>";
    writeAll(*package.getContentTypeOutputStream(), contentTypes(elements));
}

/// Succeeds when the action throws an `opc::Exception` with this code and a message that holds the text.
template <class Action>
testing::AssertionResult failsWith(Errc code, const std::string& text, Action action) {
    return throwsWhat(
               action,
               [&](const std::exception& e) {
                   const auto* exception = dynamic_cast<const Exception*>(&e);
                   return exception != nullptr && exception->code() == make_error_condition(code) &&
                          std::string(e.what()).find(text) != std::string::npos;
               })
           << ", expected \"" << text << "\" with the code " << make_error_condition(code).message();
}

template <class Action>
testing::AssertionResult failsWith(Errc code, Action action) {
    return failsWith(code, std::string(), action);
}

inline void expectAllFail(Errc code, std::initializer_list<std::function<void()>> actions) {
    for (const auto& action : actions)
        EXPECT_TRUE(failsWith(code, action)) << "action " << &action - actions.begin();
}

} // namespace opc::test
