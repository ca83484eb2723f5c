// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/DigitalSignatureManager.hpp>

#include "lint/Checks.hpp"

#include <algorithm>
#include <set>

namespace opc::lint {

namespace {

using model::Part;
using model::PartName;
using model::ReferenceReport;
using model::ReferenceVerdict;
using model::SignatureReport;

using PartNames = std::set<PartName>;

using Form = model::SignatureIdentifiers;

const Form& standardForm() {
    return model::getSignatureIdentifiers(model::SignatureForm::Standard);
}

std::u16string nameOf(const Part& part) {
    return part.getName().toString();
}

/// The signature parts of the form of ECMA-376-2 §10, by their relationships.
class PartsCheck {
public:
    explicit PartsCheck(Examination& examination) : examination_(examination) {}

    void run() {
        const PartNames origins = checkOrigins();
        const PartNames signatures = targetsOf(origins, form_.signatureRelationshipType);
        const PartNames certificates = targetsOf(signatures, form_.certificateRelationshipType);
        for (const Part& part : examination_.getParts()) {
            if (hasType(part, originType_) && origins.count(part.getName()) == 0)
                report(RuleId::OneSignatureOrigin, part,
                       "signature origin to which no relationship of the package leads");
            if (hasType(part, signatureType_) && signatures.count(part.getName()) == 0)
                report(RuleId::SignatureWithoutOrigin, part,
                       "signature to which no signature origin has a relationship");
            if (hasType(part, certificateType_) && certificates.count(part.getName()) == 0)
                report(RuleId::CertificateWithoutSignature, part,
                       "certificate to which no signature has a relationship");
        }
    }

private:
    /// @param part of the examination.
    bool hasType(const Part& part, std::u16string_view type) const {
        return isSame(examination_.getMediaType(part), type);
    }

    void report(RuleId rule, const Part& part, const std::string& message) {
        examination_.reportItem(rule, nameOf(part), message);
    }

    PartNames checkOrigins() {
        PartNames origins;
        const model::Package& package = examination_.getPackage();
        const auto relationships = package.getRelationshipsByType(form_.originRelationshipType);
        for (const model::Relationship& each : relationships) {
            const Link link = examination_.resolve(package, each);
            const std::string target = "Target " + inQuotes(each.getTarget());
            if (&each != &relationships.front())
                examination_.reportLink(RuleId::OneSignatureOrigin, link, target + " is a further signature origin");
            if (link.target == nullptr)
                examination_.reportLink(RuleId::OneSignatureOrigin, link,
                                        target + " leads to no signature origin part");
            else if (origins.insert(link.target->getName()).second)
                checkOrigin(*link.target);
        }
        return origins;
    }

    void checkOrigin(const Part& part) {
        if (!hasType(part, originType_))
            report(RuleId::OneSignatureOrigin, part,
                   "signature origin with the content type " + inQuotes(part.getContentType().toString()));
        if (!examination_.getOptions().readsContents)
            return;
        examination_.readItem(nameOf(part), [&] {
            unsigned char byte = 0;
            InputStream& stream = *part.getInputStream();
            stream.open();
            if (stream.read(&byte, 1) != 0)
                report(RuleId::EmptySignatureOrigin, part, "signature origin that is not empty");
            stream.close();
        });
    }

    PartNames targetsOf(const PartNames& sources, const char16_t* type) const {
        PartNames targets;
        for (const PartName& name : sources) {
            const Part part = examination_.getPackage().getPart(name);
            for (const model::Relationship& each : part.getRelationshipsByType(type))
                if (const Part* target = examination_.resolve(part, each).target)
                    targets.insert(target->getName());
        }
        return targets;
    }

    Examination& examination_;
    const Form& form_ = standardForm();
    const std::u16string_view originType_ = form_.originContentType;
    const std::u16string_view signatureType_ = form_.signatureContentType;
    const std::u16string_view certificateType_ = form_.certificateContentType;
};

void checkReference(Examination& examination, const std::u16string& signature, const ReferenceReport& reference) {
    const std::string target = "reference " + inQuotes(reference.uri);
    if (reference.verdict == ReferenceVerdict::Missing)
        examination.reportItem(RuleId::SignatureReference, signature, target + " leads to nothing in the package");
    else if (reference.verdict == ReferenceVerdict::ContentTypeDiffers)
        examination.reportItem(RuleId::SignatureContentType, signature,
                               target + ": the content type now is " + inQuotes(reference.foundContentType));
    else if (!reference.holds() && reference.verdict != ReferenceVerdict::NotSupported)
        examination.reportItem(RuleId::SignatureValid, signature, target + ": " + reference.problem);
}

std::string coverageText(const model::CoverageReport& coverage) {
    const auto count = [](std::size_t number, const char* noun) {
        return std::to_string(number) + ' ' + noun + (number == 1 ? "" : "s");
    };
    return "does not cover " + count(coverage.uncoveredParts.size(), "part") + " and " +
           count(coverage.uncoveredRelationships.size(), "relationship") +
           (coverage.uncoveredParts.empty() ? std::string()
                                            : ", first " + inQuotes(coverage.uncoveredParts.front().toString()));
}

void checkReport(Examination& examination, const SignatureReport& report, const model::CoverageReport& coverage) {
    const std::u16string item = report.signature.getPartName().toString();
    for (const ReferenceReport& reference : report.references)
        checkReference(examination, item, reference);
    if (!report.problem.empty())
        examination.reportItem(RuleId::SignatureCoverage, item, "cannot be verified: " + report.problem);
    else if (!report.signatureValueHolds)
        examination.reportItem(RuleId::SignatureValid, item, "the signature value is not valid");
    else if (report.findFirstProblem() == nullptr && !coverage.isComplete())
        examination.reportItem(RuleId::SignatureCoverage, item, coverageText(coverage));
}

} // namespace

void checkSignatureParts(Examination& examination) {
    PartsCheck(examination).run();
}

void checkSignatures(Examination& examination, const model::DigitalSignatureManager& manager) {
    for (const model::DigitalSignature& signature : manager.getSignatures())
        if (const std::string problem = signature.getProblem(); !problem.empty())
            examination.reportItem(RuleId::SignatureReadable, signature.getPartName().toString(), problem);
    if (manager.getSignatures().empty())
        return;
    const auto reports = manager.examineAllSignatures(model::VerificationOptions());
    const auto coverage = manager.examineCoverage(reports);
    for (std::size_t i = 0; i < reports.size(); ++i)
        if (reports[i].signature.getProblem().empty())
            checkReport(examination, reports[i], coverage[i]);
}

} // namespace opc::lint
