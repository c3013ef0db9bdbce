#include <cstring>

#include "lut/kernel/Lut3DKernel.h"

namespace {

// One coefficient set. YUV->RGB in Q13 (luma scale 8192 = 1.0), RGB->YUV in Q8.
struct CoefficientSet {
    int16_t lumaScale, rFromV, gFromU, gFromV, bFromU;
    uint8_t yFromR, yFromG, yFromB;
    int16_t uFromR, uFromG, vFromG, vFromB;
};

// Indexed [full range][BT.709]. Video range expands Y by 255/219 (9539 =
// 8192 * 255 / 219) and chroma by 255/224; full range keeps both as they are.
// U from B and V from R are 112 (video) or 127 (full) for both matrices.
constexpr CoefficientSet kSets[2][2] = {
    {{9539, 13075, 3209, 6660, 16525, 66, 129, 25, 38, 74, 94, 18},   // BT.601 video
     {9539, 14686, 1747, 4366, 17305, 47, 157, 16, 26, 87, 102, 10}}, // BT.709 video
    {{8192, 11530, 2830, 5873, 14573, 77, 150, 29, 43, 84, 107, 21},  // BT.601 full
     {8192, 12952, 1541, 3850, 15261, 54, 183, 18, 29, 98, 116, 12}}, // BT.709 full
};

template <typename T, size_t N>
void splat(T (&lanes)[N], int value)
{
    for (T& lane : lanes)
        lane = static_cast<T>(value);
}

} // namespace

void Lut3DBuildConstants(Lut3DConstants* k, const Lut3DTable* table, uint32_t colourMatrix,
                         int32_t range)
{
    const bool full = range != 0;
    const CoefficientSet& s = kSets[full ? 1 : 0][colourMatrix != 0 ? 1 : 0];
    // The luma offset depends on range being exactly 1, the coefficients on it
    // being non-zero: range 2 is full-range colour with a luma offset of 16.
    splat(k->lumaOffset, range == 1 ? 0 : 16);
    splat(k->chromaOffset, 128);
    splat(k->lumaScale, s.lumaScale);
    splat(k->rFromV, s.rFromV);
    splat(k->gFromU, s.gFromU);
    splat(k->gFromV, s.gFromV);
    splat(k->bFromU, s.bFromU);
    splat(k->yFromR, s.yFromR);
    splat(k->yFromG, s.yFromG);
    splat(k->yFromB, s.yFromB);
    splat(k->uFromR, s.uFromR);
    splat(k->uFromG, s.uFromG);
    splat(k->uFromB, full ? 127 : 112);
    splat(k->vFromR, full ? 127 : 112);
    splat(k->vFromG, s.vFromG);
    splat(k->vFromB, s.vFromB);
    if (table->uniform) {
        // (N - 1) / 255 * 32768 in single precision, truncated: 4112 for 33 levels.
        const uint32_t n = Lut3DTableLevels(table);
        const float scale = static_cast<float>(n - 1) / 255.0f * 32768.0f;
        splat(k->gridScale, static_cast<int>(static_cast<uint32_t>(scale)));
    }
    std::memset(k->reserved, 8, sizeof k->reserved);
}
