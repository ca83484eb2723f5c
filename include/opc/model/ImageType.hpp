// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/interfaces/CompressionType.hpp>

#include <vector>

namespace opc::model {

/// A kind of image that a thumbnail can be.
struct ImageType {
    const char* name;
    const char16_t* contentType; ///< as in packages of other producers
    const char16_t* extension;   ///< without the dot
    interfaces::CompressionType compression;
};

/// The kind of an image by its own bytes: PNG, JPEG, GIF, BMP, TIFF, EMF, WMF, WebP or, when it is well-formed XML as a
/// whole, SVG. Of the others only the start is checked.
/// @return null when it is none of these.
OPCRAFT_API const ImageType* findImageType(const std::vector<unsigned char>& image);

/// All kinds, in the order in which they are named above.
OPCRAFT_API std::vector<ImageType> getImageTypes();

} // namespace opc::model
