// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/InputStream.hpp>
#include <opc/core/Limits.hpp>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace opc::compare {

/// Where the relationships of a part lead, by their Ids.
using IdTargets = std::map<std::string, std::string, std::less<>>;

struct IdentityOptions {
    Limits limits{};
    bool ignoresIds = false;    ///< an Id of a relationship counts by where it leads alone
    bool ignoresOrder = false;  ///< the children of an element count in any order
    bool ignoresBlanks = false; ///< texts of white space alone do not count
};

/// A digest of what XML says: equal for documents with the same canonical form (Canonical XML 1.0) without comments,
/// and for those whose canonical forms differ in prefixes and in declarations of namespaces alone. Prefixes count where
/// they stand in a value that is not known to consist of them. A value or text that is one of the Ids counts with where
/// that leads; with `ignoresIds` those of attributes that are known to hold Ids do, and their values do not.
///
/// Takes constant memory, but for the longest text. With `ignoresOrder` each child of the elements that are open takes
/// some, which `Limits::xmlNodes` bounds.
/// @param problem receives the reason when there is no digest.
/// @return nothing when the document is not well-formed, has a document type declaration or exceeds a limit.
/// @throws opc::Exception what the stream throws.
std::optional<std::vector<unsigned char>> identifyXml(InputStream& stream, const IdTargets& ids,
                                                      const IdentityOptions& options, std::string& problem);

} // namespace opc::compare
