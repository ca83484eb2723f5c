// SPDX-License-Identifier: Apache-2.0
#include <opc/lint/Lint.hpp>

#include <opc/core/interfaces/IPhysicalFindings.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include "lint/Checks.hpp"
#include "lint/FindingList.hpp"

#include <memory>
#include <optional>

namespace opc::lint {

namespace {

using interfaces::OpenMode;
using model::DigitalSignatureManager;
using model::SignatureForm;

std::unique_ptr<DigitalSignatureManager> makeManager(model::Package& package) {
    return std::make_unique<DigitalSignatureManager>(package, model::getAllSignatureForms(), SignatureForm::Standard);
}

Finding unreadableSignature(const Exception& error) {
    const auto place = error.getPlace();
    const bool isTold = place && !place->reason.empty();
    return {RuleId::SignatureReadable, place ? *place : ErrorPlace{}, isTold ? place->reason : error.what()};
}

/// Opens the package.
/// @return null when the signatures keep it from being opened with them.
std::unique_ptr<DigitalSignatureManager> openWithSignatures(model::Package& package, FindingList& findings) {
    auto manager = makeManager(package);
    std::optional<Finding> unreadable;
    try {
        package.open(OpenMode::ReadOnly, findings);
        return manager;
    } catch (const opc::Exception& e) {
        unreadable = unreadableSignature(e);
    }
    manager.reset();
    findings.clear();
    package.open(OpenMode::ReadOnly, findings); // which throws when the signatures are not the reason
    findings.found(*unreadable);
    return manager;
}

void checkRelationships(Examination& examination, const model::RelationshipSource& source) {
    for (const model::Relationship& relationship : source.getRelationships()) {
        const Link link = examination.resolve(source, relationship);
        if (examination.hasParts()) {
            checkTarget(examination, link);
            checkThumbnail(examination, link);
        }
        noteTarget(examination, link);
    }
    for (const model::RawRelationship& raw : source.getRawRelationships())
        noteRawTarget(examination, source, raw);
}

/// What is known from the opening alone.
void check(Examination& examination) {
    checkRelationshipsParts(examination);
    for (const model::Part& part : examination.getParts())
        notePart(examination, part);
    checkRelationships(examination, examination.getPackage());
    for (const model::Part& part : examination.getParts())
        checkRelationships(examination, part);
    if (examination.hasParts()) {
        checkCoreProperties(examination);
        checkSignatureParts(examination);
    }
}

void checkContents(Examination& examination, const DigitalSignatureManager* signatures) {
    checkContentTypes(examination);
    checkCompatibility(examination);
    if (signatures != nullptr)
        checkSignatures(examination, *signatures);
}

} // namespace

std::vector<Finding> examine(interfaces::IPhysicalPackage& store, const Options& options) {
    FindingList findings(options.rules);
    model::Package package(store, options.limits);
    std::unique_ptr<DigitalSignatureManager> signatures;
    if (options.readsContents)
        signatures = openWithSignatures(package, findings);
    else
        package.open(OpenMode::ReadOnly, findings);
    if (auto* const physical = dynamic_cast<interfaces::IPhysicalFindings*>(&store))
        physical->findAmbiguities(findings, options.readsContents);
    Examination examination(package, store, options, findings);
    check(examination);
    if (options.readsContents)
        checkContents(examination, signatures.get());
    return findings.takeSorted(examination.getNames());
}

} // namespace opc::lint
