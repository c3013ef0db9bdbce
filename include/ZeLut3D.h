/*
 * ZeLut3D.h - recolour NV12/NV21 frames through a 3D colour look-up table.
 *
 * Compiles as C99 and as C++. Typical use:
 *
 *   Lut3DTable*  table  = ZecLut3DLoadTableFromFile("/sdcard/looks/warm.lut");
 *   Lut3DEffect* effect = ZecLut3DCreateEffect(0);          // one worker per CPU
 *   Lut3DFrame src = { y, uv, NULL, yStride, uvStride };
 *   if (!ZecLut3DRenderEffect(effect, table, &src, &src,    // in place
 *                             ZEC_LUT3D_FORMAT_NV12, ZEC_LUT3D_MATRIX_BT709,
 *                             ZEC_LUT3D_RANGE_VIDEO, width, height, 0))
 *       handle_refusal();
 *   ZecLut3DDestroyEffect(effect);
 *   ZecLut3DDestroyTable(table);
 *
 * Handles are opaque and owned by the library until their destroy function.
 * A table is immutable and may be shared by any number of effects and threads;
 * one effect renders one frame at a time.
 */
#ifndef ZELUT3D_H
#define ZELUT3D_H

#include <stddef.h>
#include <stdint.h>

#include "ZeGlobal.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Pixel formats (the pixelFormat argument). */
enum {
    ZEC_LUT3D_FORMAT_NV12 = 0, /* chroma pairs U, V */
    ZEC_LUT3D_FORMAT_NV21 = 1  /* chroma pairs V, U */
};

/* Colour matrices (the colourMatrix argument): 0 is BT.601, any other value
 * BT.709. Android's MediaFormat.COLOR_STANDARD_BT601_PAL and _NTSC (2 and 4)
 * are BT.601 here only when passed as ZEC_LUT3D_MATRIX_BT601. */
enum {
    ZEC_LUT3D_MATRIX_BT601 = 0,
    ZEC_LUT3D_MATRIX_BT709 = 1
};

/* Ranges (the range argument). 0 is video (limited) range: luma 16 to 235.
 * Any non-zero value selects the full-range coefficients, but only exactly 1
 * also drops the luma offset of 16; 2 or any other value keeps it. So pass
 * ZEC_LUT3D_RANGE_VIDEO for limited range, never Android's
 * MediaFormat.COLOR_RANGE_LIMITED (2), which would shift every level. */
enum {
    ZEC_LUT3D_RANGE_VIDEO = 0,
    ZEC_LUT3D_RANGE_FULL = 1
};

typedef struct Lut3DTable Lut3DTable;
typedef struct Lut3DEffect Lut3DEffect;

/* One frame of the host. Strides are in bytes and may be negative (bottom-up
 * frames). */
typedef struct Lut3DFrame {
    uint8_t* lumaPlane;   /* first Y byte of row 0 */
    uint8_t* chromaPlane; /* first byte of interleaved chroma row 0 (UV for NV12, VU for NV21) */
    void* thirdPlane;     /* not read */
    int32_t lumaStride;
    int32_t chromaStride;
} Lut3DFrame;

/* Loads a table from a LUT file (path in UTF-8). Returns NULL when the file
 * cannot be read, is malformed, is not three-dimensional or not 8-bit. */
ZE_EXPORT Lut3DTable* ZecLut3DLoadTableFromFile(const char* path);

/* Loads a table from size bytes of a LUT file in memory (an app's asset, a
 * download): the same checks, messages and table as loading the file, but
 * for the open failure. data is read during the call only; NULL or fewer
 * than 8 bytes give NULL without a message, like a file that short. */
ZE_EXPORT Lut3DTable* ZecLut3DLoadTableFromMemory(const void* data, size_t size);

/* Frees a table. NULL is ignored. No render may be using it. */
ZE_EXPORT void ZecLut3DDestroyTable(Lut3DTable* table);

/* Creates an effect. threadCount 1 renders on the calling thread, 0 uses one
 * worker per online processor, n >= 2 uses exactly n workers. When the
 * workers cannot all be started the effect renders on the calling thread
 * instead. Returns NULL only when memory for the effect itself runs out. */
ZE_EXPORT Lut3DEffect* ZecLut3DCreateEffect(uint32_t threadCount);

/* Stops the effect's workers and frees it. NULL is ignored. */
ZE_EXPORT void ZecLut3DDestroyEffect(Lut3DEffect* effect);

/* Renders source into destination (they may be the same frame).
 * pixelFormat: 0 NV12, 1 NV21. colourMatrix: 0 BT.601, other BT.709.
 * range: 0 video range, other full range. reserved: ignored.
 * Returns 1 when the frame was rendered, 0 when it was refused (the
 * destination is then untouched). */
ZE_EXPORT int32_t ZecLut3DRenderEffect(Lut3DEffect* effect, Lut3DTable* table, Lut3DFrame* source,
                                       Lut3DFrame* destination, uint32_t pixelFormat,
                                       uint32_t colourMatrix, int32_t range, uint32_t width,
                                       int32_t height, int32_t reserved);

/* Picks the kernel variant the effect renders with, by name: "C" (the
 * portable reference), "SSE4.1", "AVX2", "AVX-512" or "NEON". NULL or ""
 * returns to the fastest one this CPU runs, which every effect starts with.
 * All variants give identical bytes; choosing one is for measuring them.
 * Returns 1, or 0 with nothing changed when effect is NULL or this CPU or
 * build cannot run the named variant. Not while the effect renders. */
ZE_EXPORT int32_t ZecLut3DSetEffectKernel(Lut3DEffect* effect, const char* name);

/* Receives every message the library emits (refusals, misuse, system-call
 * failures), with the priority and tag the Android log gets: priority 6
 * error, 5 warning, 4 info, 2 debug; tag "tavren". Messages still go to the
 * Android log as well. The callback is called on whatever thread emits the
 * message, possibly on several threads at once, and must not call back into
 * the library. text is valid during the call only. */
typedef void (*ZecLut3DMessageCallback)(int priority, const char* tag, const char* text);

/* Sets the message callback for the whole process; NULL restores the default
 * (no callback). A message being delivered while the callback is replaced may
 * still reach the previous one. */
ZE_EXPORT void ZecLut3DSetMessageCallback(ZecLut3DMessageCallback callback);

#ifdef __cplusplus
}
#endif

#endif /* ZELUT3D_H */
