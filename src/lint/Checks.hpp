// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "lint/Examination.hpp"

namespace opc::model {
class DigitalSignatureManager;
}

/// The checks, each of which reports what breaks the rules that it knows.
namespace opc::lint {

/// Where a relationship leads.
void checkTarget(Examination& examination, const Link& link);
/// The relationships parts as such.
void checkRelationshipsParts(Examination& examination);

/// The entries of the content types stream.
void checkContentTypes(Examination& examination);

/// Markup Compatibility in XML that the reader takes.
void checkCompatibility(Examination& examination);

void checkCoreProperties(Examination& examination);
void checkThumbnail(Examination& examination, const Link& link);

/// Whether a target that is not there is reported by the rules for its type.
bool hasOwnTargetRule(const Link& link);

/// The parts and relationships that signatures consist of.
void checkSignatureParts(Examination& examination);
/// The signatures that were read.
void checkSignatures(Examination& examination, const model::DigitalSignatureManager& manager);

/// What a relationship leads to that can be executed, is embedded or lies outside.
void noteTarget(Examination& examination, const Link& link);
/// The same of an entry that is no relationship, but that some programs follow.
void noteRawTarget(Examination& examination, const model::RelationshipSource& source,
                   const model::RawRelationship& raw);
/// The same by the content type and the name of a part.
void notePart(Examination& examination, const model::Part& part);

} // namespace opc::lint
