package ze.luteffect;

import android.media.Image;

/** Renders an android.media.Image (YUV_420_888, chroma pixel stride 2) in place. */
public final class LutImage {
    private LutImage() {}

    public static void render(LutEffect effect, LutTable table, Image image, int matrix, int range)
            throws LutException {
        Image.Plane[] planes = image.getPlanes();
        effect.renderYuv420(table, planes[0].getBuffer(), planes[0].getRowStride(),
                planes[1].getBuffer(), planes[2].getBuffer(), planes[1].getRowStride(),
                planes[1].getPixelStride(), image.getWidth(), image.getHeight(), matrix, range);
    }
}
