// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/InputStream.hpp>
#include <opc/core/OutputStream.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include <string>
#include <vector>

namespace opc::model::test {

using interfaces::OpenMode;

inline std::string relationshipsXml(const std::string& entries) {
    return "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">" + entries +
           "</Relationships>";
}

inline std::string contentTypesXml(const std::string& entries) {
    return "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">" + entries + "</Types>";
}

/// A content types stream that gives every ".xml", ".rels" and ".bin" part its type.
inline std::string usualContentTypes() {
    return contentTypesXml("<Default Extension=\"rels\" "
                           "ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>"
                           "<Default Extension=\"xml\" ContentType=\"application/xml\"/>"
                           "<Default Extension=\"bin\" ContentType=\"application/octet-stream\"/>");
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
    InputStream* stream = part.getInputStream();
    stream->open();
    std::string text;
    unsigned char buffer[7];
    while (const auto count = stream->read(buffer, sizeof buffer))
        text.append(buffer, buffer + count);
    stream->close();
    return text;
}

inline std::vector<std::u16string> namesOf(const std::vector<Part>& parts) {
    std::vector<std::u16string> names;
    for (const Part& part : parts)
        names.push_back(part.getName().toString());
    return names;
}

inline std::vector<std::u16string> idsOf(const std::vector<Relationship>& relationships) {
    std::vector<std::u16string> ids;
    for (const Relationship& relationship : relationships)
        ids.push_back(relationship.getID());
    return ids;
}

} // namespace opc::model::test
