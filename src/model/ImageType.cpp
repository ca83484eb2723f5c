// SPDX-License-Identifier: Apache-2.0
#include <opc/model/ImageType.hpp>

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <cstdint>
#include <string_view>

namespace opc::model {

namespace {

using interfaces::CompressionType;

/// The bytes at an offset are these.
bool has(std::string_view image, std::size_t offset, std::string_view bytes) {
    return image.size() >= offset + bytes.size() && image.substr(offset, bytes.size()) == bytes;
}

template <std::size_t SIZE>
std::string_view bytes(const char (&text)[SIZE]) {
    return {text, SIZE - 1};
}

/// A little-endian number; 0 past the end.
std::uint32_t numberAt(std::string_view image, std::size_t offset) {
    std::uint32_t number = 0;
    for (std::size_t i = 4; i > 0 && image.size() >= offset + 4; --i)
        number = number << 8U | static_cast<unsigned char>(image[offset + i - 1]);
    return number;
}

bool isPng(std::string_view image) {
    return has(image, 0, "\x89PNG\r\n\x1A\n") && has(image, 12, "IHDR");
}

bool isJpeg(std::string_view image) {
    return has(image, 0, "\xFF\xD8\xFF");
}

bool isGif(std::string_view image) {
    return has(image, 0, "GIF87a") || has(image, 0, "GIF89a");
}

/// "BM" alone may start a text: two reserved numbers, the offset of the pixels and a header follow, whose
/// size identifies its version.
bool isBmp(std::string_view image) {
    constexpr std::uint32_t headerSizes[] = {12, 16, 40, 52, 56, 64, 108, 124};
    const std::uint32_t headerSize = numberAt(image, 14);
    bool isKnown = false;
    for (const std::uint32_t size : headerSizes)
        isKnown |= size == headerSize;
    return has(image, 0, "BM") && has(image, 6, bytes("\0\0\0\0")) && isKnown && numberAt(image, 10) <= image.size();
}

bool isTiff(std::string_view image) {
    return has(image, 0, bytes("II*\0")) || has(image, 0, bytes("MM\0*"));
}

bool isEmf(std::string_view image) {
    return has(image, 0, bytes("\1\0\0\0")) && has(image, 40, " EMF");
}

/// With a placeable header first, or the plain header: a memory or disk file, nine words, version 1.0 or 3.0.
bool isWmf(std::string_view image) {
    const bool isPlain = has(image, 0, bytes("\1\0\x09\0\0")) || has(image, 0, bytes("\2\0\x09\0\0"));
    return has(image, 0, "\xD7\xCD\xC6\x9A") || (isPlain && (has(image, 5, "\1") || has(image, 5, "\3")));
}

bool isWebP(std::string_view image) {
    return has(image, 0, "RIFF") && has(image, 8, "WEBP");
}

/// Only a well-formed XML document with the root element of SVG is SVG.
bool isSvg(std::string_view image) {
    if (image.find('<') == image.npos)
        return false;
    const std::vector<unsigned char> copy(image.begin(), image.end());
    ByteArrayInAdaptor stream(copy);
    const XercesGuard guard;
    const auto parser = XercesHelper::createParser();
    try {
        const auto* root = XercesHelper::readDocumentFromStream(*parser, stream, false, u"", u"")->getDocumentElement();
        return root->getNamespaceURI() != nullptr && root->getLocalName() == std::u16string_view(u"svg") &&
               root->getNamespaceURI() == std::u16string_view(u"http://www.w3.org/2000/svg");
    } catch (const InvalidXMLDocument&) {
        return false;
    }
}

struct Test {
    bool (*matches)(std::string_view image);
    ImageType type;
};

constexpr Test TESTS[] = {
    {isPng, {"PNG", u"image/png", u"png", CompressionType::None}},
    {isJpeg, {"JPEG", u"image/jpeg", u"jpeg", CompressionType::None}},
    {isGif, {"GIF", u"image/gif", u"gif", CompressionType::None}},
    {isBmp, {"BMP", u"image/bmp", u"bmp", CompressionType::Normal}},
    {isTiff, {"TIFF", u"image/tiff", u"tiff", CompressionType::Normal}},
    {isEmf, {"EMF", u"image/x-emf", u"emf", CompressionType::Normal}},
    {isWmf, {"WMF", u"image/x-wmf", u"wmf", CompressionType::Normal}},
    {isWebP, {"WebP", u"image/webp", u"webp", CompressionType::None}},
    {isSvg, {"SVG", u"image/svg+xml", u"svg", CompressionType::Normal}},
};

} // namespace

const ImageType* findImageType(const std::vector<unsigned char>& image) {
    const std::string_view view(reinterpret_cast<const char*>(image.data()), image.size());
    for (const Test& test : TESTS)
        if (test.matches(view))
            return &test.type;
    return nullptr;
}

std::vector<ImageType> getImageTypes() {
    std::vector<ImageType> types;
    for (const Test& test : TESTS)
        types.push_back(test.type);
    return types;
}

} // namespace opc::model
