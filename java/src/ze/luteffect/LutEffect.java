package ze.luteffect;

import java.nio.ByteBuffer;

/**
 * Recolours NV12/NV21 frames through a LutTable, on the calling thread
 * (threads = 1), on one worker per processor (0) or on n workers. One effect
 * renders one frame at a time; close it when done.
 *
 * <pre>
 * try (LutEffect effect = new LutEffect(0)) {
 *     effect.render(look, y, yStride, uv, uvStride, width, height,
 *                   LutEffect.NV12, LutColor.MATRIX_BT709, LutColor.RANGE_VIDEO);  // in place
 * }
 * </pre>
 */
public final class LutEffect implements AutoCloseable {
    public static final int NV12 = 0;
    public static final int NV21 = 1;

    static {
        LutLibrary.load();
    }

    private long handle;

    public LutEffect(int threads) {
        if (threads < 0)
            throw new IllegalArgumentException("threads must be 0 or more");
        handle = nativeCreate(threads);
        if (handle == 0)
            throw new OutOfMemoryError("no memory for the effect");
    }

    /** Renders a frame in place: luma plane and interleaved chroma plane, with their row strides. */
    public void render(LutTable table, ByteBuffer y, int yStride, ByteBuffer uv, int uvStride,
            int width, int height, int format, int matrix, int range) throws LutException {
        render(table, y, yStride, uv, uvStride, y, yStride, uv, uvStride, width, height, format,
                matrix, range);
    }

    /** Renders a source frame into a destination frame (which may be the source). */
    public synchronized void render(LutTable table, ByteBuffer srcY, int srcYStride,
            ByteBuffer srcUV, int srcUVStride, ByteBuffer dstY, int dstYStride, ByteBuffer dstUV,
            int dstUVStride, int width, int height, int format, int matrix, int range)
            throws LutException {
        nativeRender(handle(), table.handle(), srcY, srcYStride, srcUV, srcUVStride, dstY,
                dstYStride, dstUV, dstUVStride, width, height, format, matrix, range);
    }

    /**
     * Renders, in place, the planes of a YUV_420_888 image (android.media.Image)
     * whose chroma pixel stride is 2: the U and V planes then interleave in one
     * buffer, and which of them starts first tells NV12 (U) from NV21 (V).
     * Any other layout is refused with an IllegalArgumentException.
     */
    public synchronized void renderYuv420(LutTable table, ByteBuffer y, int yRowStride,
            ByteBuffer u, ByteBuffer v, int uvRowStride, int uvPixelStride, int width, int height,
            int matrix, int range) throws LutException {
        if (uvPixelStride != 2)
            throw new IllegalArgumentException(
                    "chroma pixel stride " + uvPixelStride + ": only interleaved chroma (2) is rendered");
        nativeRenderYuv420(handle(), table.handle(), y, yRowStride, u, v, uvRowStride, width,
                height, matrix, range);
    }

    private long handle() {
        if (handle == 0)
            throw new IllegalStateException("the effect is closed");
        return handle;
    }

    /** Stops the workers and frees the effect; closing it again does nothing. */
    @Override
    public synchronized void close() {
        if (handle != 0)
            nativeDestroy(handle);
        handle = 0;
    }

    private static native long nativeCreate(int threads);
    private static native void nativeDestroy(long handle);
    private static native void nativeRender(long effect, long table, ByteBuffer srcY,
            int srcYStride, ByteBuffer srcUV, int srcUVStride, ByteBuffer dstY, int dstYStride,
            ByteBuffer dstUV, int dstUVStride, int width, int height, int format, int matrix,
            int range) throws LutException;
    private static native void nativeRenderYuv420(long effect, long table, ByteBuffer y,
            int yRowStride, ByteBuffer u, ByteBuffer v, int uvRowStride, int width, int height,
            int matrix, int range) throws LutException;
}
