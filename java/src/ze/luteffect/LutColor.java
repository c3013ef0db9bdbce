package ze.luteffect;

/**
 * Colour matrix and range as the effect reads them, and the mapping from the
 * values of Android's MediaFormat, which do not mean the same: its
 * COLOR_RANGE_LIMITED is 2, which the effect would read as full-range
 * coefficients with a limited-range luma offset. Always map through here.
 */
public final class LutColor {
    public static final int MATRIX_BT601 = 0;
    public static final int MATRIX_BT709 = 1;
    public static final int RANGE_VIDEO = 0;
    public static final int RANGE_FULL = 1;

    // MediaFormat's values (android.media.MediaFormat), repeated so that this
    // class needs no Android classes.
    public static final int MEDIA_COLOR_RANGE_FULL = 1;
    public static final int MEDIA_COLOR_RANGE_LIMITED = 2;
    public static final int MEDIA_COLOR_STANDARD_BT709 = 1;
    public static final int MEDIA_COLOR_STANDARD_BT601_PAL = 2;
    public static final int MEDIA_COLOR_STANDARD_BT601_NTSC = 4;

    private LutColor() {}

    /** MediaFormat.KEY_COLOR_RANGE to the effect's range: FULL is full, anything else video. */
    public static int rangeFromMediaFormat(int colorRange) {
        return colorRange == MEDIA_COLOR_RANGE_FULL ? RANGE_FULL : RANGE_VIDEO;
    }

    /** MediaFormat.KEY_COLOR_STANDARD to the effect's matrix: the BT.601 standards are BT.601, anything else BT.709. */
    public static int matrixFromMediaFormat(int colorStandard) {
        return colorStandard == MEDIA_COLOR_STANDARD_BT601_PAL
                        || colorStandard == MEDIA_COLOR_STANDARD_BT601_NTSC
                ? MATRIX_BT601
                : MATRIX_BT709;
    }
}
