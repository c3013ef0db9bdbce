/* A host program built against an installed libZeLutEffect: C99, the public
 * header only. Loads a 2-level table that maps every colour to white (made by
 * the installed zelut from a .cube file), renders a small NV12 frame and
 * checks the result. */
#include <stdio.h>
#include <string.h>

/* Both spellings, through pkg-config and the CMake package alike. */
#include "ZeLut3D.h"
#include <ZeLutEffect/ZeLut3D.h>

int main(int argc, char** argv)
{
    unsigned char luma[8 * 2], chroma[8];
    Lut3DFrame frame;
    Lut3DEffect* effect;
    Lut3DTable* table;
    int i, ok;

    if (argc != 2) {
        fprintf(stderr, "consumer: usage: consumer WHITE.lut\n");
        return 1;
    }
    memset(luma, 60, sizeof luma);
    memset(chroma, 90, sizeof chroma);
    frame.lumaPlane = luma;
    frame.chromaPlane = chroma;
    frame.thirdPlane = NULL;
    frame.lumaStride = 8;
    frame.chromaStride = 8;

    effect = ZecLut3DCreateEffect(1);
    if (ZecLut3DRenderEffect(effect, NULL, &frame, &frame, 0, 0, 0, 8, 2, 0) != 0) {
        fprintf(stderr, "consumer: a render without a table was not refused\n");
        return 1;
    }
    if (ZecLut3DLoadTableFromFile("/nonexistent/consumer.lut") != NULL) {
        fprintf(stderr, "consumer: a missing file gave a table\n");
        return 1;
    }
    table = ZecLut3DLoadTableFromFile(argv[1]);
    if (!table) {
        fprintf(stderr, "consumer: no table loaded from a valid LUT file\n");
        ZecLut3DDestroyEffect(effect);
        return 1;
    }
    ok = ZecLut3DRenderEffect(effect, table, &frame, &frame, ZEC_LUT3D_FORMAT_NV12,
                              ZEC_LUT3D_MATRIX_BT601, ZEC_LUT3D_RANGE_VIDEO, 8, 2, 0) == 1;
    for (i = 0; i < 16; ++i)
        ok = ok && luma[i] == 235; /* white in video range */
    for (i = 0; i < 8; ++i)
        ok = ok && chroma[i] == 128;
    ZecLut3DDestroyTable(table);
    ZecLut3DDestroyEffect(effect);
    if (!ok) {
        fprintf(stderr, "consumer: the frame did not turn white\n");
        return 1;
    }
    printf("consumer: rendered a frame through the installed library\n");
    return 0;
}
