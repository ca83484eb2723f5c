// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/interfaces/CompressionType.hpp>

#include <vector>

namespace opcraft {

/// A kind of image that a thumbnail can be.
struct ImageType {
    const char* name;
    const char16_t* contentType;
    const char16_t* extension; ///< without the dot
    opc::interfaces::CompressionType compression;
};

/// What an image is by its own bytes; null when it is no image, or of a kind that is not known.
const ImageType* findImageType(const std::vector<unsigned char>& image);

/// The names of all kinds, for a sentence.
extern const char* const IMAGE_TYPE_NAMES;

} // namespace opcraft
