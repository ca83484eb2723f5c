// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "c/Store.hpp"

#include <opc/core/Findings.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/Part.hpp>
#include <opc/model/PartName.hpp>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace opc::c {

/// Keeps what is wrong with a package that is opened tolerantly.
class FoundFindings final : public FindingSink {
public:
    void found(const Finding& finding) override { findings.push_back(finding); }

    std::vector<Finding> findings{};
};

/// A package as it is open, which its readers and writers share.
struct OpenedPackage {
    OpenedPackage(opcraft_store& store, interfaces::OpenMode mode, bool tolerant);

    bool isTolerant;
    StoreUse use;
    FoundFindings found{};
    model::Package model;
    std::set<model::PartName> inUse{};    ///< the parts that have a reader or writer
    std::set<model::PartName> notWhole{}; ///< the parts of which not all was written that was to be

    /// @throws opc::Exception device_or_resource_busy when the part has a reader or writer.
    void throwIfInUse(const model::PartName& part) const;
    /// @throws opc::Exception io_error when a part has no content that can be saved.
    void throwIfNotWhole() const;
};

/// A UTF-8 text as UTF-16.
/// @throws opc::Exception invalid_argument when it is null or not UTF-8.
std::u16string toText(const char* text, const char* name);

/// The name of a part as people write it: what is not ASCII is percent-encoded (RFC 3987 §3.1).
/// @throws opc::Exception as `toText`; InvalidURI, InvalidPartName
model::PartName toPartName(const char* name);

/// The target of a relationship, in the same way.
/// @throws InvalidURI
model::URI toTarget(const std::u16string& text);

/// Calls an action with a relationship source: a part, or the package for "/".
template <class Action>
auto withSource(model::Package& package, const char* name, Action action) {
    const model::PartName source = toPartName(name);
    if (model::PartName::isPackageRootUri(source.getURI()))
        return action(static_cast<model::RelationshipSource&>(package));
    model::Part part = package.getPart(source);
    return action(static_cast<model::RelationshipSource&>(part));
}

/// A text that the caller frees by `opcraft_text_free`.
char* copyForCaller(std::u16string_view text);

} // namespace opc::c

struct opcraft_package {
    std::shared_ptr<opc::c::OpenedPackage> opened;
};

namespace opc::c {

/// The open package of a handle.
inline OpenedPackage& openedOf(const opcraft_package* package) {
    return *required(package, "package").opened;
}

/// Every function of an open package that reads or writes is such an action, which gets what is open.
template <class Value, class Action>
Value guarded(const opcraft_package* package, opcraft_error** error, Value failed, Action action) noexcept {
    return guarded(
        error, failed,
        [&] {
            OpenedPackage& opened = openedOf(package);
            return byStore(
                opened.use.getStore(), [&]() -> Value { return action(opened); });
        });
}

template <class Action>
bool guardedChange(const opcraft_package* package, opcraft_error** error, Action action) noexcept {
    return guarded(
        package, error, false,
        [&](OpenedPackage& opened) {
            action(opened);
            return true;
        });
}

} // namespace opc::c
