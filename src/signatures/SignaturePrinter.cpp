// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>

#include "signatures/SignatureFormRules.hpp"

#include <ostream>

namespace opc::model {

namespace {

using ReferenceData = DigitalSignatureData::ReferenceData;

void printLine(std::ostream& out, const char* label, const std::u16string& value) {
    out << label << toUDEString(value) << '\n';
}

void printReference(std::ostream& out, const ReferenceData& reference) {
    printLine(out, "referenceID: ", reference.id);
    printLine(out, "referenceURI: ", reference.uri.toString());
    printLine(out, "referenceType: ", reference.type);
    printLine(out, "digestMethod: ", reference.digestMethod);
    printLine(out, "digestValue: ", reference.digestValue);
    out << '\n';
    for (const std::u16string& transform : reference.transforms)
        printLine(out, "Transform Algorithm: ", transform);
    for (const std::u16string& id : reference.relationshipSourceIds)
        printLine(out, "RelationshipReference\t", id);
    for (const std::u16string& type : reference.relationshipSourceTypes)
        printLine(out, "RelationshipGroupReference\t", type);
}

void printReferences(std::ostream& out, const std::vector<ReferenceData>& references) {
    for (const ReferenceData& reference : references)
        printReference(out, reference);
}

void printHead(std::ostream& out, const DigitalSignatureData& signature) {
    printLine(out, "Name: ", makeSignatureName(signature.form, signature.signatureId));
    printLine(out, "Signature Time: ",
              signature.signedTime.is_special() ? std::u16string() : convertTimeToString(signature.signedTime));
    printLine(out, "C14n Method: ", signature.canonicalizationMethod);
    printLine(out, "Signature Method:", signature.signatureMethod);
    printLine(out, "m_signatureValueInXML:", signature.signatureValue);
    out << "List of signed parts:\n";
    const char* separator = "";
    for (const PartName& name : signature.signedPartNames) {
        out << separator << toUDEString(name.toString());
        separator = ", ";
    }
    out << '\n';
}

void printProperties(std::ostream& out, const DigitalSignatureData& signature) {
    out << "Printing Signature Properties...\n";
    out << "Number of properties = " << std::to_string(signature.signatureProperties.size()) << '\n';
    for (const auto& property : signature.signatureProperties) {
        printLine(out, "Signature Property Target: ", property.target);
        out << "Signature Property Time: Format = " << toUDEString(property.format)
            << "\t Value = " << toUDEString(property.value) << '\n';
        printLine(out, "Signature Property ID: ", property.id);
    }
}

/// The octets that are digested stand for what was read from them.
void printStandard(std::ostream& out, const DigitalSignatureData& signature) {
    const DigitalSignatureData::StandardData& standard = signature.standard;
    if (!standard.problem.empty())
        printLine(out, "Problem: ", toString(standard.problem, false));
    printLine(out, "Signature part: ", signature.partName);
    printLine(out, "Signature ID: ", standard.documentId);
    for (const PartName& name : standard.certificateParts)
        printLine(out, "Certificate part: ", name.toString());
    for (const std::u16string& hint : standard.keyHints)
        printLine(out, "KeyInfo, not used: ", hint);
    printLine(out, "SignedInfo: ", toString(standard.signedInfo, false));
    for (const auto& [id, octets] : standard.elements)
        printLine(out, "Element: ", toString(octets, false));
    out << "Number of time stamps = " << std::to_string(standard.unsignedProperties.timeStamps.size()) << '\n';
    for (const std::u16string& name : standard.unsignedProperties.others)
        printLine(out, "Unsigned property: ", name);
}

} // namespace

std::ostream& prettyPrint(std::ostream& out, const DigitalSignatureData& signature) {
    out << "----------- Pretty Print of Digital Signature data --------------------\n";
    printHead(out, signature);
    out << "\nPrinting SignedInfo data... \nPrinting references... \n";
    printReferences(out, signature.signedInfoReferences);
    out << "\nPrinting the package specific object....\n\nPrinting manifest...\nPrinting references...\n";
    printReferences(out, signature.manifestReferences);
    printProperties(out, signature);
    out << "\nPrinting all objects....\n";
    for (const auto& object : signature.objects) {
        printLine(out, "objectID: ", object.id);
        printLine(out, "XMLBytes: ", object.xmlBytes);
    }
    if (signature.form != SignatureForm::Library)
        printStandard(out, signature);
    return out << "-----------------------------------------------------------------------\n";
}

} // namespace opc::model
