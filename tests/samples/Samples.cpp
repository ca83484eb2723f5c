// SPDX-License-Identifier: Apache-2.0
#include "samples/Samples.hpp"

#include <opc/errors/Errors.hpp>

#include <cctype>
#include <cstdlib>
#include <typeinfo>

namespace opc::test {

namespace {

using namespace model;

template <class Error>
bool is(const std::exception& e) {
    return typeid(e) == typeid(Error);
}

constexpr const char* coreXml = "/docProps/core.xml";
constexpr const char* prop = "/Metadata/CoreProperties.prop";
constexpr const char* noTime = "missing 'T' separator in dateTime value '2015-10-28'";

} // namespace

const std::vector<Sample>& getSamples() {
    static const std::vector<Sample> samples = {
        // clang-format off
        {"3mf-core-properties-elsewhere.3mf", 10, 6, nullptr, "", "its folder entries are no parts", {Verdict::Refused, nullptr, nullptr, prop, "lastPrinted", noTime}},
        {"3mf-drive-letter-target.3mf", 10, 6, nullptr, "", "\"C:/Metadata/thumbnail.png\" has a scheme but is not opaque", {Verdict::Refused, nullptr, nullptr, prop, "lastPrinted", noTime}},
        {"3mf-duplicate-relationship-id.3mf", 0, 0, is<InvalidRelationshipContent>, "In /3D/_rels/3dmodel.model.rels: ", "IDs are unique by xsd:ID", {Verdict::None, nullptr, nullptr, "/3D/_rels/3dmodel.model.rels"}},
        {"3mf-missing-thumbnail-target.3mf", 10, 6, nullptr, "", "a target need not exist", {Verdict::Refused, nullptr, nullptr, prop, "lastPrinted", noTime}},
        {"3mf-slicer-parts-without-content-type.3mf", 5, 6, nullptr, "", "items without a content type are no parts, nor are the relationships of one"},
        {"aasx-supplementary-files.aasx", 3, 0, nullptr, "", "absolute targets and a byte order mark are fine"},
        {"docx-image-without-content-type.docx", 9, 1, nullptr, "", "the image is no part", {Verdict::Present, nullptr, "ms", coreXml}},
        {"docx-lowercase-core-properties-relationship.docx", 9, 5, nullptr, "", "its core properties are related by another program's type", {Verdict::Present, "", "", coreXml}},
        {"docx-made-with-links-and-picture.docx", 9, 0, nullptr, "", "", {Verdict::Present, "Garden report – spring <draft>", "Ida Gärtner", coreXml}},
        {"docx-many-external-links.docx", 25, 0, nullptr, "", "", {Verdict::Present, " ", "", coreXml}},
        {"docx-trash-items.docx", 20, 4, nullptr, "", "\"[trash]\" items are no parts", {Verdict::Present, "Test", "sample", coreXml}},
        {"docx-two-core-properties.docx", 9, 0, nullptr, "", "only one of the two relationships has the core properties type", {Verdict::Present, nullptr, nullptr, coreXml}},
        {"dotx-external-template.dotx", 9, 0, nullptr, "", "", {Verdict::Present, nullptr, "Samir Aguiar", coreXml}},
        {"msix-pkcs7-signed.msix", 3, 0, nullptr, "", "ZIP64 records, no relationships at all"},
        {"nupkg-core-properties-psmdcp.nupkg", 2, 0, nullptr, "", "", {Verdict::Present, nullptr, "Microsoft", "/package/services/metadata/core-properties/155646b7ac6f4fb3a150b449d5ad3bd3.psmdcp"}},
        {"nupkg-pkcs7-signed.nupkg", 3, 1, nullptr, "", "\".signature.p7s\" is no part", {Verdict::Present, nullptr, "author", "/package/services/metadata/core-properties/f5f2cdd11edd456fa1d2364363ad953a.psmdcp"}},
        {"pbix-empty-content-types.pbix", 0, 0, is<InvalidXMLDocument>, "value '", "an empty content type is none", {Verdict::None, nullptr, nullptr, "[Content_Types].xml"}},
        {"potx-thumbnail.potx", 24, 0, nullptr, "", "", {Verdict::Present, "Embedded Objects", "user", coreXml}},
        {"pptx-made-four-slides.pptx", 24, 0, nullptr, "", "", {Verdict::Present, "", "", coreXml}},
        {"pptx-missing-diagram-targets.pptx", 35, 0, nullptr, "", "Overrides and relationships may name parts that are not there", {Verdict::Present, "Slide 1", "Mike Kaganski", coreXml}},
        {"signed-docx-content-changed-afterwards.docx", 10, 0, nullptr, "", "", {Verdict::Present, "", "Miklos", coreXml}},
        {"signed-docx-rsa-sha1-no-xades.docx", 13, 0, nullptr, "", "", {Verdict::Present, nullptr, "Frank", coreXml}},
        {"signed-docx-rsa-sha1-xades.docx", 17, 0, nullptr, "", "", {Verdict::Present, "", "Carlos Gamuci", coreXml}},
        {"signed-docx-rsa-sha256-xades.docx", 10, 0, nullptr, "", "", {Verdict::Present, "", "Allison, Timothy B.", coreXml}},
        {"signed-docx-rsa-whitespace-rels.docx", 11, 0, nullptr, "", "", {Verdict::Present, "Garden report – spring <draft>", "Ida Gärtner", coreXml}},
        {"signed-docx-two-signatures.docx", 11, 0, nullptr, "", "", {Verdict::Present, "", "Miklos", coreXml}},
        {"signed-xlsx-ecdsa-p256-whitespace-rels.xlsx", 11, 0, nullptr, "", "", {Verdict::Present, "Garden report – spring <draft>", "Ida Gärtner", coreXml}},
        {"signed-xlsx-rsa-sha256-xades.xlsx", 9, 0, nullptr, "", "", {Verdict::Present, nullptr, "Allison, Timothy B.", coreXml}},
        {"vsdx-emf-thumbnail.vsdx", 12, 0, nullptr, "", "", {Verdict::Present, "", "Pascal Essiembre", coreXml}},
        {"vsix-non-ascii-and-odd-names.vsix", 0, 0, is<InvalidXMLDocument>, "value '", "an extension has no leading dot", {Verdict::None, nullptr, nullptr, "[Content_Types].xml"}},
        {"vsix-space-and-percent-names.vsix", 5, 1, nullptr, "", "spaces are percent-encoded in part names"},
        {"xlsb-external-links.xlsb", 17, 0, nullptr, "", "", {Verdict::Present, nullptr, "Allison, Timothy B.", coreXml}},
        {"xlsm-macros-external-links.xlsm", 12, 0, nullptr, "", "", {Verdict::Present, nullptr, "Samir Aguiar", coreXml}},
        {"xlsx-backslash-names.xlsx", 0, 5, nullptr, "", "a name with a backslash is no part name, so nothing is a part"},
        {"xlsx-bom-absolute-targets.xlsx", 4, 0, nullptr, "", "absolute targets and a byte order mark are fine"},
        {"xlsx-made-three-sheets.xlsx", 9, 0, nullptr, "", "", {Verdict::Present, "Garden report – spring <draft>", "Ida Gärtner", coreXml}},
        {"xlsx-online-spreadsheet-export.xlsx", 5, 0, nullptr, "", ""},
        {"xlsx-prefixed-namespaces.xlsx", 6, 0, nullptr, "", "prefixes are a matter of taste", {Verdict::Present, nullptr, "xlsxwriter", coreXml}},
        {"xps-utf16-markup.xps", 12, 0, nullptr, "", "the markup of parts is not looked at", {Verdict::Present, "Attachment Test", "Rajiv", coreXml}},
        // clang-format on
    };
    return samples;
}

std::filesystem::path getSampleFolder() {
    const char* name = std::getenv("OPCRAFT_SAMPLES");
    return name == nullptr ? "" : name;
}

std::string nameOf(const testing::TestParamInfo<Sample>& sample) {
    std::string name(sample.param.file);
    for (char& character : name)
        if (!std::isalnum(static_cast<unsigned char>(character)))
            character = '_';
    return name;
}

} // namespace opc::test
