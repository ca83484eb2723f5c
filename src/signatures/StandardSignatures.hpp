// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/Package.hpp>
#include <opc/signatures/DigitalSignature.hpp>

#include <set>
#include <vector>

namespace opc::model {

/// Finds and reads the signatures of the standard forms, by relationships alone (ECMA-376-2 §10.2). One that cannot be
/// read has a problem.
/// @param seen the signature parts that were read before; those that are read are added.
std::vector<DigitalSignature> loadStandardSignatures(const Package& package, std::set<PartName>& seen);

/// Reads a signature that was stored just now.
/// @throws opc::Exception when it cannot be read.
DigitalSignature loadStandardSignature(const Package& package, const Part& part);

} // namespace opc::model
