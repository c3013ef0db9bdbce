// The zelut tool's readers of outside files: .cube and .3dl tables, the
// YUV4MPEG2 stream header and PNG images. One source, built once per reader
// (ZELUT_FUZZ_READER names it). A reader must refuse with a message or give
// a result that holds together; it may never crash, hang or read out of
// bounds.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "CubeFile.h"
#include "FrameStream.h"
#include "PngImage.h"
#include "ThreeDlFile.h"

namespace {

void check(bool holds)
{
    if (!holds)
        std::abort();
}

[[maybe_unused]] void checkTable(const LutTable& lut)
{
    check(lut.n >= 2 && lut.n <= 65 && lut.levels.size() == lut.n
        && lut.entries.size() == size_t{ 3 } * lut.n * lut.n * lut.n);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::string error;
    bool ok = false;
#if ZELUT_FUZZ_READER == 1
    CubeTable cube;
    LutTable lut;
    ok = parseCube(bytes, "f.cube", cube, error) && cubeToLut(cube, "f.cube", lut, error);
    if (ok)
        checkTable(lut);
#elif ZELUT_FUZZ_READER == 2
    LutTable lut;
    ok = parse3dl(bytes, "f.3dl", lut, error);
    if (ok)
        checkTable(lut);
#elif ZELUT_FUZZ_READER == 3
    Y4mHeader header;
    ok = parseY4mHeader(bytes, header, error);
    if (ok)
        check(header.width > 0 && header.height > 0);
#else
    RgbImage image;
    ok = decodePng(bytes, "f.png", image, error);
    if (ok)
        check(image.pixels.size() == image.rowBytes() * image.height
            && uint64_t{ image.width } * image.height <= kPngMaxPixels);
#endif
    if (!ok)
        check(!error.empty());
    return 0;
}
