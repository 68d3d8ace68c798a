package android.graphics;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;

/**
 * Pixels that native code can reach: as much of Android's class as a receiver of pictures needs on Linux.
 *
 * <p>The pixels lie in a direct buffer, rows without a gap, and start as zeros. Native code locks them
 * while it writes; {@link #recycle} lets go of them, at once or when the last lock is given back. Any
 * thread may call any method, but nothing keeps a reader from seeing a picture half written: the caller
 * orders native writes and {@link #getPixel}.
 */
public final class Bitmap {
    /** How a pixel is stored. */
    public enum Config {
        /** Two bytes a pixel, in the machine's order: red in the high 5 bits, green 6, blue 5. */
        RGB_565(4, 2),
        /** Four bytes a pixel, in memory: red, green, blue, alpha. */
        ARGB_8888(1, 4);

        /** The number that native code knows the format by. */
        private final int nativeFormat;
        private final int bytesPerPixel;

        Config(int nativeFormat, int bytesPerPixel) {
            this.nativeFormat = nativeFormat;
            this.bytesPerPixel = bytesPerPixel;
        }
    }

    private final int width;
    private final int height;
    private final Config config;
    private ByteBuffer pixels; // null when recycled and not locked; guarded by this
    private boolean recycled; // guarded by this
    private int locks; // given to native code and not given back; guarded by this

    private Bitmap(int width, int height, Config config, int bytes) {
        this.width = width;
        this.height = height;
        this.config = config;
        this.pixels = ByteBuffer.allocateDirect(bytes).order(ByteOrder.nativeOrder());
    }

    /**
     * Makes a bitmap of zeros: black, and transparent where the config has alpha.
     *
     * @param width pixels, 1 or more
     * @param height pixels, 1 or more
     * @throws IllegalArgumentException for a size below 1, or a bitmap of more than 2 GiB
     * @throws NullPointerException without a config
     */
    public static Bitmap createBitmap(int width, int height, Config config) {
        if (width < 1 || height < 1) {
            throw new IllegalArgumentException("width and height must be > 0");
        }
        long bytes = (long) width * height;
        if (bytes > Integer.MAX_VALUE / config.bytesPerPixel) {
            throw new IllegalArgumentException("a bitmap of " + width + " x " + height + " is too large");
        }
        return new Bitmap(width, height, config, (int) bytes * config.bytesPerPixel);
    }

    public int getWidth() {
        return width;
    }

    public int getHeight() {
        return height;
    }

    public Config getConfig() {
        return config;
    }

    /** Bytes from one row to the next. */
    public int getRowBytes() {
        return width * config.bytesPerPixel;
    }

    /**
     * The pixel as 0xAARRGGBB; a config without alpha is opaque, and its 5 and 6 bits are spread over 8.
     *
     * @throws IllegalArgumentException outside the bitmap
     * @throws IllegalStateException when recycled
     */
    public synchronized int getPixel(int x, int y) {
        if (recycled) {
            throw new IllegalStateException("getPixel on a recycled bitmap");
        }
        if (x < 0 || y < 0 || x >= width || y >= height) {
            throw new IllegalArgumentException(x + "," + y + " is outside " + width + " x " + height);
        }
        int at = y * getRowBytes() + x * config.bytesPerPixel;
        return config == Config.RGB_565 ? from565(pixels.getShort(at)) : fromRgba(at);
    }

    private static int from565(short pixel) {
        int red = pixel >> 11 & 31;
        int green = pixel >> 5 & 63;
        int blue = pixel & 31;
        return 0xFF << 24 | (red << 3 | red >> 2) << 16 | (green << 2 | green >> 4) << 8 | blue << 3 | blue >> 2;
    }

    private int fromRgba(int at) {
        return byteAt(at + 3) << 24 | byteAt(at) << 16 | byteAt(at + 1) << 8 | byteAt(at + 2);
    }

    private int byteAt(int at) {
        return pixels.get(at) & 0xFF;
    }

    /** Lets go of the pixels; later locks fail. What native code still holds stays until it gives it back. */
    public synchronized void recycle() {
        recycled = true;
        dropUnusedPixels();
    }

    public synchronized boolean isRecycled() {
        return recycled;
    }

    private void dropUnusedPixels() {
        if (recycled && locks == 0) {
            pixels = null;
        }
    }

    // Below: for native code only (platform/linux/bitmap), which finds these by name.

    private int nativeFormat() {
        return config.nativeFormat;
    }

    /** The pixels, counted as locked; null when recycled. */
    private synchronized ByteBuffer lockPixels() {
        if (recycled) {
            return null;
        }
        ++locks;
        return pixels;
    }

    /** False when nothing is locked. */
    private synchronized boolean unlockPixels() {
        if (locks == 0) {
            return false;
        }
        --locks;
        dropUnusedPixels();
        return true;
    }
}
