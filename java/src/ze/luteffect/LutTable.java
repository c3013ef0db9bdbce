package ze.luteffect;

import java.nio.ByteBuffer;

/**
 * A 3D colour look-up table loaded from a LUT file: from a path, from the
 * file's bytes (an app asset read into memory) or from a direct buffer.
 * Immutable; one table may serve any number of effects and threads. Close it
 * after the last render that uses it.
 *
 * <pre>
 * try (LutTable look = LutTable.fromBytes(assetBytes)) { ... }
 * </pre>
 */
public final class LutTable implements AutoCloseable {
    static {
        LutLibrary.load();
    }

    private long handle;

    private LutTable(long handle) {
        this.handle = handle;
    }

    /** Loads the LUT file at a path (UTF-8). */
    public static LutTable fromFile(String path) throws LutException {
        if (path == null)
            throw new IllegalArgumentException("path is null");
        return new LutTable(nativeLoadFile(path));
    }

    /** Loads a LUT file's bytes. */
    public static LutTable fromBytes(byte[] bytes) throws LutException {
        if (bytes == null)
            throw new IllegalArgumentException("bytes is null");
        return new LutTable(nativeLoadBytes(bytes));
    }

    /** Loads a LUT file's bytes from position to limit of a direct buffer. */
    public static LutTable fromBuffer(ByteBuffer buffer) throws LutException {
        if (buffer == null || !buffer.isDirect())
            throw new IllegalArgumentException("a direct ByteBuffer is needed");
        return new LutTable(nativeLoadBuffer(buffer, buffer.position(), buffer.remaining()));
    }

    long handle() {
        if (handle == 0)
            throw new IllegalStateException("the table is closed");
        return handle;
    }

    /** Frees the table; closing it again does nothing. */
    @Override
    public synchronized void close() {
        if (handle != 0)
            nativeDestroy(handle);
        handle = 0;
    }

    private static native long nativeLoadFile(String path) throws LutException;
    private static native long nativeLoadBytes(byte[] bytes) throws LutException;
    private static native long nativeLoadBuffer(ByteBuffer buffer, int offset, int length)
            throws LutException;
    private static native void nativeDestroy(long handle);
}
