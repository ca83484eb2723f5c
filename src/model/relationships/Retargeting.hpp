// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/URI.hpp>
#include <opc/model/relationships/Relationship.hpp>

#include <string>

namespace opc::model {

/// The reference that leads from a source to a path, in the style of an older one: absolute or relative as that is,
/// with its query and fragment; the older one itself where it leads there, and where it is no more than query and
/// fragment.
/// @param path absolute.
URI retarget(const URI& written, const URI& source, const std::u16string& path);

/// A relationship as it is when its source gets another name. It leads where it led, or if that was the source to the
/// source.
Relationship withSource(const Relationship& relationship, const URI& source);

} // namespace opc::model
