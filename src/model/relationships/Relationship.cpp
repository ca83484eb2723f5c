// SPDX-License-Identifier: Apache-2.0
#include <opc/model/relationships/Relationship.hpp>

#include <opc/errors/Errors.hpp>

#include "iri/IRI.hpp"
#include "model/relationships/ExternalTarget.hpp"

namespace opc::model {

namespace {

/// Of an external relationship until it is asked for.
const URI& noURI() {
    static const URI none(u"");
    return none;
}

} // namespace

Relationship::Relationship(const std::u16string& id, const std::u16string& type, const URI& source, const URI& target)
    : id_(id), type_(type), source_(source), targetURI_(target), target_(target.toString()),
      mode_(TargetMode::Internal) {}

Relationship::Relationship(const std::u16string& id, const std::u16string& type, const URI& source,
                           const std::u16string& target)
    : id_(id), type_(type), source_(source), targetURI_(noURI()), target_(target), mode_(TargetMode::External) {}

URI Relationship::getTargetURI() const {
    if (mode_ == TargetMode::External) {
        if (targetURI_.toString().empty())
            try {
                targetURI_ = URI(iri::IRI(withSlashes(target_)).toAsciiString());
            } catch (const Exception&) {
                throw InvalidURI("Could not successfully convert external target to a URI. Use getTarget() instead.");
            }
    } else if (!targetURI_.hasAbsolutePath()) {
        targetURI_ = resolve(source_, targetURI_);
    }
    return targetURI_;
}

bool Relationship::operator==(const Relationship& other) const noexcept {
    return id_ == other.id_ && type_ == other.type_ && source_ == other.source_ && targetURI_ == other.targetURI_ &&
           target_ == other.target_ && mode_ == other.mode_;
}

bool Relationship::operator!=(const Relationship& other) const noexcept {
    return !(*this == other);
}

bool Relationship::operator<(const Relationship& other) const noexcept {
    return id_ < other.id_;
}

} // namespace opc::model
