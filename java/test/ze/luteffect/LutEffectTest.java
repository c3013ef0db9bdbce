package ze.luteffect;

import java.io.File;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.util.Arrays;
import java.util.Random;

/**
 * The Java API against the C interface: frames rendered through Java must
 * equal, byte for byte, what zelut renders from the same files through the
 * C interface. Arguments: the zelut program and a scratch folder.
 */
public final class LutEffectTest {
    private static int failures;

    private static void check(boolean ok, String what) {
        if (!ok) {
            System.err.println("FAILED: " + what);
            ++failures;
        }
    }

    interface Action {
        void run() throws Exception;
    }

    private static void expectThrows(Class<? extends Exception> type, String message, Action a) {
        try {
            a.run();
            check(false, "no " + type.getSimpleName() + " for " + message);
        } catch (Exception e) {
            check(type.isInstance(e), message + ": " + e);
            check(message.isEmpty() || message.equals(e.getMessage()),
                    "message '" + e.getMessage() + "', expected '" + message + "'");
        }
    }

    private static ByteBuffer direct(byte[] bytes) {
        ByteBuffer b = ByteBuffer.allocateDirect(bytes.length);
        b.put(bytes).flip();
        return b;
    }

    private static byte[] bytesOf(ByteBuffer b) {
        byte[] out = new byte[b.capacity()];
        b.duplicate().clear().get(out);
        return out;
    }

    private static void run(String... command) throws Exception {
        Process p = new ProcessBuilder(command).inheritIO().start();
        check(p.waitFor() == 0, String.join(" ", command));
    }

    public static void main(String[] args) throws Exception {
        final String zelut = args[0];
        final File dir = new File(args[1]);
        dir.mkdirs();
        // A grade with uneven output, made by zelut from a .cube text.
        StringBuilder cube = new StringBuilder("LUT_3D_SIZE 5\n");
        Random rng = new Random(7);
        for (int i = 0; i < 125; ++i)
            cube.append(rng.nextFloat()).append(' ').append(rng.nextFloat()).append(' ')
                    .append(rng.nextFloat()).append('\n');
        File cubeFile = new File(dir, "grade.cube"), lutFile = new File(dir, "grade.lut");
        Files.write(cubeFile.toPath(), cube.toString().getBytes("UTF-8"));
        run(zelut, "convert", cubeFile.getPath(), lutFile.getPath());

        final int w = 38, h = 11, yStride = 40, uvStride = 42, rows = (h + 1) / 2;
        byte[] frame = new byte[yStride * h + uvStride * rows];
        rng.nextBytes(frame);
        // The C interface's render of a packed copy, through zelut.
        byte[] packed = new byte[w * h + w * rows];
        for (int r = 0; r < h; ++r)
            System.arraycopy(frame, r * yStride, packed, r * w, w);
        for (int r = 0; r < rows; ++r)
            System.arraycopy(frame, yStride * h + r * uvStride, packed, w * h + r * w, w);
        File in = new File(dir, "in.nv21"), out = new File(dir, "out.nv21");
        Files.write(in.toPath(), packed);
        run(zelut, "apply", "--lut", lutFile.getPath(), "--format", "nv21", "--matrix", "bt601",
                "--range", "full", "--threads", "1", "--size", w + "x" + h, in.getPath(),
                out.getPath());
        byte[] expected = Files.readAllBytes(out.toPath());

        byte[] lutBytes = Files.readAllBytes(lutFile.toPath());
        LutTable[] tables = {LutTable.fromFile(lutFile.getPath()), LutTable.fromBytes(lutBytes),
            LutTable.fromBuffer(direct(lutBytes))};
        for (int threads : new int[] {1, 3}) {
            try (LutEffect effect = new LutEffect(threads)) {
                for (LutTable table : tables) {
                    ByteBuffer y = direct(Arrays.copyOf(frame, yStride * h));
                    ByteBuffer uv = direct(Arrays.copyOfRange(frame, yStride * h, frame.length));
                    ByteBuffer dy = ByteBuffer.allocateDirect(w * h), duv = ByteBuffer.allocateDirect(w * rows);
                    effect.render(table, y, yStride, uv, uvStride, dy, w, duv, w, w, h, LutEffect.NV21,
                            LutColor.MATRIX_BT601, LutColor.RANGE_FULL);
                    byte[] got = new byte[packed.length];
                    System.arraycopy(bytesOf(dy), 0, got, 0, w * h);
                    System.arraycopy(bytesOf(duv), 0, got, w * h, w * rows);
                    check(Arrays.equals(got, expected), "render equals the C interface's, threads " + threads);
                    // In place, into the strided planes themselves.
                    effect.render(table, y, yStride, uv, uvStride, w, h, LutEffect.NV21,
                            LutColor.MATRIX_BT601, LutColor.RANGE_FULL);
                    check(Arrays.equals(Arrays.copyOf(bytesOf(y), w), Arrays.copyOf(got, w)),
                            "in place equals separate");
                }
            }
        }

        // YUV_420_888 planes: U and V one byte apart in one buffer; which one
        // starts first tells NV12 from NV21.
        try (LutEffect effect = new LutEffect(1); LutTable table = LutTable.fromBytes(lutBytes)) {
            for (int format : new int[] {LutEffect.NV12, LutEffect.NV21}) {
                ByteBuffer y = direct(Arrays.copyOf(frame, yStride * h));
                ByteBuffer chroma = direct(Arrays.copyOfRange(frame, yStride * h, frame.length));
                ByteBuffer first = chroma.duplicate(), second = chroma.duplicate();
                second.position(1);
                second = second.slice();
                ByteBuffer u = format == LutEffect.NV12 ? first : second;
                ByteBuffer v = format == LutEffect.NV12 ? second : first;
                effect.renderYuv420(table, y, yStride, u, v, uvStride, 2, w, h,
                        LutColor.MATRIX_BT709, LutColor.RANGE_VIDEO);
                ByteBuffer ry = direct(Arrays.copyOf(frame, yStride * h));
                ByteBuffer ruv = direct(Arrays.copyOfRange(frame, yStride * h, frame.length));
                effect.render(table, ry, yStride, ruv, uvStride, w, h, format,
                        LutColor.MATRIX_BT709, LutColor.RANGE_VIDEO);
                check(Arrays.equals(bytesOf(y), bytesOf(ry)) && Arrays.equals(bytesOf(chroma), bytesOf(ruv)),
                        "YUV_420_888 planes render as format " + format);
            }
            final ByteBuffer y = direct(new byte[w * h]), uv = direct(new byte[w * rows]);
            expectThrows(IllegalArgumentException.class, "", () ->
                    effect.renderYuv420(table, y, w, uv, uv, w, 1, w, h, 0, 0));
            expectThrows(IllegalArgumentException.class, "", () ->
                    effect.renderYuv420(table, y, w, uv, direct(new byte[w * rows]), w, 2, w, h, 0, 0));
            expectThrows(IllegalArgumentException.class, "", () ->
                    effect.render(table, y, w, uv, w, w, h + 2, 0, 0, 0));
            expectThrows(IllegalArgumentException.class, "", () ->
                    effect.render(table, ByteBuffer.allocate(w * h), w, uv, w, w, h, 0, 0, 0));
            expectThrows(LutException.class, "We only support NV12 and NV21 pixel format right now!",
                    () -> effect.render(table, y, w, uv, w, w, h, 2, 0, 0));
        }

        // Refused tables carry the library's reason.
        byte[] bad = Arrays.copyOf(lutBytes, lutBytes.length);
        bad[0] = 'x';
        expectThrows(LutException.class, "Invalid lut file signature!", () -> LutTable.fromBytes(bad));
        expectThrows(LutException.class, "Failed to read lut data!",
                () -> LutTable.fromBytes(Arrays.copyOf(lutBytes, lutBytes.length - 1)));
        expectThrows(LutException.class, "Failed to open lut file " + dir + "/none.lut",
                () -> LutTable.fromFile(dir + "/none.lut"));

        // Closing twice is harmless; a closed object says so.
        LutTable closed = LutTable.fromBytes(lutBytes);
        closed.close();
        closed.close();
        LutEffect gone = new LutEffect(2);
        gone.close();
        gone.close();
        expectThrows(IllegalStateException.class, "", () ->
                gone.render(closed, direct(new byte[4]), 2, direct(new byte[2]), 2, 2, 2, 0, 0, 0));
        for (LutTable t : tables)
            t.close();

        // Android's MediaFormat values map to what the effect reads.
        check(LutColor.rangeFromMediaFormat(LutColor.MEDIA_COLOR_RANGE_LIMITED) == LutColor.RANGE_VIDEO, "LIMITED");
        check(LutColor.rangeFromMediaFormat(LutColor.MEDIA_COLOR_RANGE_FULL) == LutColor.RANGE_FULL, "FULL");
        check(LutColor.matrixFromMediaFormat(LutColor.MEDIA_COLOR_STANDARD_BT601_PAL) == LutColor.MATRIX_BT601, "PAL");
        check(LutColor.matrixFromMediaFormat(LutColor.MEDIA_COLOR_STANDARD_BT601_NTSC) == LutColor.MATRIX_BT601, "NTSC");
        check(LutColor.matrixFromMediaFormat(LutColor.MEDIA_COLOR_STANDARD_BT709) == LutColor.MATRIX_BT709, "BT709");

        System.out.println(failures == 0 ? "all Java checks passed" : failures + " Java checks failed");
        System.exit(failures == 0 ? 0 : 1);
    }
}
