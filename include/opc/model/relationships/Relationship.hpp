// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/model/URI.hpp>
#include <opc/model/relationships/TargetMode.hpp>

#include <string>

namespace opc::model {

class RelationshipManager;

/// One relationship of a package or part (ECMA-376-2 §6.5).
///
/// A value; a relationship source validates before it creates one. `getTargetURI` fills a cache, so one object is not
/// used by two threads at a time, not even for reading; copies are independent.
class OPCRAFT_API Relationship {
public:
    /// An internal relationship. Nothing is validated.
    Relationship(const std::u16string& id, const std::u16string& type, const URI& source, const URI& target);
    /// An external relationship. Nothing is validated.
    Relationship(const std::u16string& id, const std::u16string& type, const URI& source, const std::u16string& target);

    std::u16string getID() const { return id_; }
    std::u16string getType() const { return type_; }
    URI getSourceURI() const { return source_; }
    /// The target as it is, or will be, written in the relationships part.
    std::u16string getTarget() const { return target_; }
    TargetMode getTargetMode() const noexcept { return mode_; }

    /// The target as a URI: an internal one resolved against the source; an external one with its backslashes read as
    /// slashes and characters that are not allowed in a URI percent-encoded.
    /// @throws InvalidURI when an external target cannot be converted.
    /// @throws UnsupportedResolve when an internal target is opaque.
    URI getTargetURI() const;

    /// Compares every field, the cache of `getTargetURI` included: a relationship whose relative target was resolved
    /// differs from an earlier copy.
    bool operator==(const Relationship& other) const noexcept;
    bool operator!=(const Relationship& other) const noexcept;
    /// By ID alone, in the order of code units.
    bool operator<(const Relationship& other) const noexcept;

private:
    friend struct RelationshipsCost;  // measures the texts without copying them
    friend class RelationshipManager; // the same

    std::u16string id_;
    std::u16string type_;
    URI source_;
    mutable URI targetURI_;
    std::u16string target_;
    TargetMode mode_;
};

} // namespace opc::model
