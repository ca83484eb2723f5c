// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <string>
#include <vector>

namespace opc::interfaces {

/// Optional for a physical package: one that keeps items that are not parts, because they have no content type,
/// implements this interface too. The package model then gives a new part a content type of its own (an Override)
/// where a content type for the extension (a Default, ECMA-376-2 §7.2.3) would turn such items into parts, and keeps an
/// existing Default for them. Without this interface the content type of every new extension becomes a Default,
/// and one without parts is dropped. Verifying and signing report these items as what no signature covers. A decorator
/// of such a package forwards it.
class OPCRAFT_API IPhysicalOtherItems {
public:
    virtual ~IPhysicalOtherItems();

    /// True when an item that is not a part has this extension.
    /// @param extension without the dot; ASCII letters compare without regard to case.
    /// @throws opc::Exception when the physical package is not open.
    virtual bool hasOtherItems(const std::u16string& extension) const = 0;

    /// The names of the items that are not parts, in UTF-8 and in the order of the store.
    /// @throws opc::Exception when the physical package is not open.
    virtual std::vector<std::string> getOtherItems() const = 0;
};

} // namespace opc::interfaces
