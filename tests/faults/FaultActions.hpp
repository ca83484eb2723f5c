// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/OpenMode.hpp>
#include <opc/model/Package.hpp>

#include <functional>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <typeindex>
#include <vector>

namespace opc::model::test {

/// Something that is done with a package, to be tried with a fault in it.
struct FaultAction {
    using Call = std::function<void(Package&)>;

    std::string name;
    std::optional<interfaces::OpenMode> mode; ///< how it is opened before; nothing where it stays closed
    Call run;
    /// What the headers name for a fault of the physical package; `opc::Exception` stands for the base itself.
    std::set<std::type_index> documented;
    bool isStored = true; ///< whether there is a package before
    Call prepare{};       ///< done before, without a fault; may be missing
    Call again{};         ///< how it is tried again after a fault; missing where `run` serves
    /// The headers say that it stops half-way; trying again does not lead to the same content then.
    bool stopsHalfWay = false;
    /// It undoes what it did, and for that needs memory; without, trying again fails.
    bool undoes = false;
};

inline void PrintTo(const FaultAction& action, std::ostream* stream) {
    *stream << action.name;
}

/// Stores a package that has something of everything.
void storeSample(interfaces::IPhysicalPackage& physicalPackage);

std::vector<FaultAction> allFaultActions();

} // namespace opc::model::test
