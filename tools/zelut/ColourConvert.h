/*
 * RGB <-> NV12 / NV21 conversion for images that go through the library.
 *
 *   YuvFrame frame(width, height);
 *   rgbToYuv(rgb, 3, width * 3, ColourMatrix::Bt709, ColourRange::Video, false, frame);
 *   ...render frame...
 *   yuvToRgb(frame, ColourMatrix::Bt709, ColourRange::Video, false, rgb, 3, width * 3);
 *
 * Exact BT.601 / BT.709 formulas in double precision, rounded to nearest.
 * Chroma is the average of each 2x2 block (of the pixels that exist, at odd
 * edges); converting back gives every pixel of a block its block's chroma.
 * Pixels of more than three channels (RGBA) keep their extra channels.
 */
#ifndef ZELUT_COLOURCONVERT_H
#define ZELUT_COLOURCONVERT_H

#include <cstddef>
#include <cstdint>
#include <vector>

enum class ColourMatrix { Bt601, Bt709 };
enum class ColourRange { Video, Full };

// One frame in the raw file layout: width x height luma bytes, then
// ceil(height / 2) chroma rows of ceil(width / 2) interleaved pairs.
struct YuvFrame {
    YuvFrame() = default;
    YuvFrame(uint32_t w, uint32_t h);
    static size_t bytesFor(uint32_t w, uint32_t h);

    uint32_t width = 0, height = 0;
    std::vector<uint8_t> bytes;

    uint32_t chromaStride() const { return ((width + 1) / 2) * 2; }
    uint32_t chromaRows() const { return (height + 1) / 2; }
    uint8_t* luma() { return bytes.data(); }
    uint8_t* chroma() { return bytes.data() + static_cast<size_t>(width) * height; }
    const uint8_t* luma() const { return bytes.data(); }
    const uint8_t* chroma() const { return bytes.data() + static_cast<size_t>(width) * height; }
};

void rgbToYuv(const uint8_t* rgb, size_t pixelBytes, size_t rowBytes, ColourMatrix matrix,
    ColourRange range, bool nv21, YuvFrame& frame);
void yuvToRgb(const YuvFrame& frame, ColourMatrix matrix, ColourRange range, bool nv21,
    uint8_t* rgb, size_t pixelBytes, size_t rowBytes);

#endif
