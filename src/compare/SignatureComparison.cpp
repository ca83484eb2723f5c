// SPDX-License-Identifier: Apache-2.0
#include "compare/SignatureComparison.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <algorithm>
#include <map>
#include <string>

namespace opc::compare {

namespace {

/// A signature and whether it holds, whoever signed.
struct Verdict {
    std::string part;
    bool holds = false;
    std::string reason{};
    std::vector<unsigned char> value{}; ///< of the signature; of one that cannot be read, the digest of its part
};

std::string placeOf(const model::ReferenceReport& reference) {
    const std::string target = toText(reference.target);
    if (reference.kind != model::ReferenceKind::Relationships)
        return target;
    return "relationships of " + (target == "/" ? "the package" : target);
}

std::string reasonOf(const model::SignatureReport& report) {
    if (!report.problem.empty())
        return report.problem;
    if (!report.signatureValueHolds)
        return "the signature value is not valid";
    std::string reason;
    std::size_t count = 0;
    for (const model::ReferenceReport& each : report.references)
        if (!each.holds() && ++count <= 3)
            reason += (reason.empty() ? "" : "; ") + placeOf(each) + ": " + each.problem;
    if (count > 3)
        reason += "; and " + std::to_string(count - 3) + " more";
    return report.isSignatureValid() || !reason.empty() ? reason : "it does not name its certificate";
}

/// By the key of their parts.
std::map<std::string, Verdict> verdictsOf(ComparedParts& parts) {
    std::map<std::string, Verdict> verdicts;
    const model::DigitalSignatureManager& manager = *parts.getCompared().signatures;
    if (manager.getSignatures().empty())
        return verdicts;
    for (const model::SignatureReport& report : manager.examineAllSignatures(model::VerificationOptions())) {
        const std::u16string name = report.signature.getPartName().toString();
        const std::string key = toText(toLowerASCIIString(name));
        Verdict verdict{toText(name), report.problem.empty() && report.isSignatureValid(), reasonOf(report),
                        report.signature.getSignatureValue()};
        if (const model::Part* part = parts.find(key); part != nullptr && verdict.value.empty())
            verdict.value = parts.digestOf(*part);
        verdicts.emplace(key, std::move(verdict));
    }
    return verdicts;
}

using Verdicts = std::map<std::string, Verdict>;

/// The same signature, in whichever part; or else what became of it in the part of its name, unless that is another
/// signature, which holds.
Verdicts::iterator findSame(const std::string& key, const Verdict& verdict, Verdicts& among) {
    const auto found = among.find(key);
    if (found != among.end() && (found->second.value == verdict.value || !found->second.holds))
        return found;
    return std::find_if(among.begin(), among.end(),
                        [&](const auto& each) { return each.second.value == verdict.value; });
}

} // namespace

void compareSignatures(ComparedParts& before, ComparedParts& after, std::vector<SignatureDifference>& differences) {
    if (before.getCompared().signatures == nullptr || after.getCompared().signatures == nullptr)
        return;
    Verdicts rest = verdictsOf(after);
    for (const auto& [key, old] : verdictsOf(before)) {
        const auto now = findSame(key, old, rest);
        if (now == rest.end())
            differences.push_back({SignatureChange::Removed, old.part, old.holds, false, old.reason});
        else if (old.holds && !now->second.holds)
            differences.push_back({SignatureChange::Broken, old.part, true, false, now->second.reason});
        else if (!old.holds && now->second.holds)
            differences.push_back({SignatureChange::Mended, old.part, false, true, old.reason});
        if (now != rest.end())
            rest.erase(now);
    }
    for (const auto& [key, now] : rest)
        differences.push_back({SignatureChange::Added, now.part, false, now.holds, now.reason});
}

} // namespace opc::compare
