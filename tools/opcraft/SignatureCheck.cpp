// SPDX-License-Identifier: Apache-2.0
#include "opcraft/SignatureCheck.hpp"

#include "opcraft/Text.hpp"

#include <opc/core/Exception.hpp>

#include <utility>

namespace opcraft {

namespace {

using opc::certificates::CertificateValidationOptions;
using opc::certificates::TrustStore;
using opc::model::DigitalSignature;
using opc::model::DigitalSignatureManager;
using opc::model::SignatureReport;

std::vector<CheckedSignature> toChecked(std::vector<SignatureReport> reports) {
    std::vector<CheckedSignature> checked;
    for (SignatureReport& report : reports) {
        CheckedSignature each{report.signature, {}, report.problem};
        if (each.problem.empty())
            each.report = std::move(report);
        checked.push_back(std::move(each));
    }
    return checked;
}

/// Opens a stored package with its signatures and calls an action with their manager.
template <class Action>
void withSignatures(opc::storage::ZipPackage& zip, const opc::Limits& limits, Action action) {
    opc::model::Package package(zip, limits);
    const DigitalSignatureManager manager(package);
    package.open(opc::interfaces::OpenMode::ReadOnly);
    action(manager);
}

/// What would be found if all that a signature names were as it was signed.
SignatureReport asIfItHeld(const DigitalSignature& signature) {
    SignatureReport report(signature);
    report.signatureValueHolds = true;
    report.references.resize(1);
    report.references[0].kind = opc::model::ReferenceKind::Relationships;
    report.references[0].relationships = signature.getSignedRelationships();
    for (const opc::model::PartName& name : signature.getSignedPartNames()) {
        report.references.emplace_back().kind = opc::model::ReferenceKind::Part;
        report.references.back().target = name.toString();
    }
    return report;
}

} // namespace

std::vector<CheckedSignature> checkSignatures(const DigitalSignatureManager& manager,
                                              const CertificateValidationOptions& options, const TrustStore& trust) {
    return toChecked(manager.examineAllSignatures(options, trust));
}

std::vector<CheckedSignature> checkSignatures(const DigitalSignatureManager& manager,
                                              const std::vector<unsigned char>& publicKey) {
    return toChecked(manager.examineAllSignatures(publicKey));
}

std::vector<std::string> readSignatureNames(opc::storage::ZipPackage& zip, const opc::Limits& limits) {
    std::vector<std::string> names;
    try {
        withSignatures(zip, limits, [&](const DigitalSignatureManager& manager) {
            for (const DigitalSignature& signature : manager.getSignatures())
                names.push_back(toUtf8(signature.getName()));
        });
    } catch (const opc::Exception&) {
        names.clear();
    }
    return names;
}

std::set<std::string> findCompleteSignatures(opc::storage::ZipPackage& zip, const opc::Limits& limits) {
    std::set<std::string> names;
    try {
        withSignatures(zip, limits, [&](const DigitalSignatureManager& manager) {
            for (const DigitalSignature& signature : manager.getSignatures())
                if (manager.examineCoverage({asIfItHeld(signature)}, zip.getOtherItems()).at(0).isComplete())
                    names.insert(toUtf8(signature.getName()));
        });
    } catch (const opc::Exception&) {
        names.clear();
    }
    return names;
}

std::vector<std::string> findBrokenSignatures(opc::storage::ZipPackage& zip, const opc::Limits& limits,
                                              const std::vector<std::string>& names) {
    CertificateValidationOptions nothing;
    nothing.setCheckChain(false);
    nothing.setCheckPurpose(false);
    nothing.setCheckValidityTime(false);
    std::multiset<std::string> holding; // several may have one name, in different folders
    try {
        withSignatures(zip, limits, [&](const DigitalSignatureManager& manager) {
            for (const CheckedSignature& each : checkSignatures(manager, nothing, TrustStore()))
                if (each.holds())
                    holding.insert(toUtf8(each.signature.getName()));
        });
    } catch (const opc::Exception&) {
        return names;
    }
    std::vector<std::string> broken;
    for (const std::string& name : names)
        if (const auto found = holding.find(name); found != holding.end())
            holding.erase(found);
        else
            broken.push_back(name);
    return broken;
}

} // namespace opcraft
