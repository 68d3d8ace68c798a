package com.tarvoln.zem.demo;

import java.nio.ByteBuffer;

/**
 * What the colours of a screen become on their way through the engines of both ends, with a codec that loses
 * nothing. Not every pair of chips gives back what went in: the hues shift in known ways.
 *
 * <p>The sender's converter works with the coefficients of BT.601, full range, and takes the chroma of the
 * top left pixel of four. All chips but tarn read red as blue there, and write the two chroma samples the
 * other way round. The receivers of linear pictures take Cb for Cr and the reverse, and read red and blue the
 * other way round; the receiver of tiled pictures takes the samples for what they are, but of video range.
 */
public final class ColorRoute {
    private static final int BITS = 16;
    private static final int HALF = 1 << (BITS - 1);
    private static final int CHROMA_ZERO = (128 << BITS) + HALF - 1;

    /** A codec at work takes a chroma sample so far, as a rule. */
    private static final int CODING_LOSS = 16;

    private final boolean swappingSender;
    private final boolean tiledReceiver;

    private ColorRoute(boolean swappingSender, boolean tiledReceiver) {
        this.swappingSender = swappingSender;
        this.tiledReceiver = tiledReceiver;
    }

    /** The route from a chip profile to a chip profile. */
    public static ColorRoute between(String sender, String receiver) {
        return new ColorRoute(!sender.equals("tarn"), receiver.equals("qcom-tiled"));
    }

    /** RGB565 words, rows from the top, of a screen with 4 bytes a pixel: red, green, blue, alpha. */
    public short[] picture(ByteBuffer rgba, int width, int height) {
        return picture(rgba, width, height, 0);
    }

    /**
     * The same two times, for pictures that a codec changes a little: the receivers' colours leap where chroma is 0,
     * and which side of that a sample near it comes out on is chance.
     */
    short[][] bothPictures(ByteBuffer rgba, int width, int height) {
        return new short[][] {picture(rgba, width, height, CODING_LOSS), picture(rgba, width, height, -1)};
    }

    /** Chroma of up to {@code leap} gets what the receivers have for 0. */
    private short[] picture(ByteBuffer rgba, int width, int height, int leap) {
        short[] words = new short[width * height];
        for (int y = 0; y < height; y++) {
            for (int x = 0; x < width; x++) {
                int block = ((y & ~1) * width + (x & ~1)) * 4;
                int chroma = chroma(rgba.get(block) & 0xFF, rgba.get(block + 1) & 0xFF, rgba.get(block + 2) & 0xFF);
                int at = (y * width + x) * 4;
                int luma = luma(rgba.get(at) & 0xFF, rgba.get(at + 1) & 0xFF, rgba.get(at + 2) & 0xFF);
                words[y * width + x] = word(luma, chroma >> 8, chroma & 0xFF, leap);
            }
        }
        return words;
    }

    private int luma(int red, int green, int blue) {
        int first = swappingSender ? blue : red;
        int last = swappingSender ? red : blue;
        return 19595 * first + 38470 * green + 7471 * last + HALF >> BITS;
    }

    /** Cb in the high byte, Cr in the low one, as the codec gets them. */
    private int chroma(int red, int green, int blue) {
        int first = swappingSender ? blue : red;
        int last = swappingSender ? red : blue;
        int cb = -11059 * first - 21709 * green + 32768 * last + CHROMA_ZERO >> BITS;
        int cr = 32768 * first - 27439 * green - 5329 * last + CHROMA_ZERO >> BITS;
        return swappingSender ? cr << 8 | cb : cb << 8 | cr;
    }

    private short word(int luma, int cb, int cr, int leap) {
        return tiledReceiver ? tiledWord(luma, cb, cr) : linearWord(luma, cb, cr, leap);
    }

    private static short tiledWord(int luma, int cb, int cr) {
        int c = 298 * (luma - 16);
        int d = cb - 128;
        int e = cr - 128;
        return pack((c + 409 * e) / 256, (c - 100 * d - 208 * e) / 256, (c + 517 * d) / 256);
    }

    /**
     * The engine's tables have no entry of their own for a chroma of 0: the green ones and that of the sample
     * taken for Cb hold the end of the table before.
     */
    private static short linearWord(int luma, int takenForCr, int takenForCb, int leap) {
        int x = takenForCr - 128;
        int z = takenForCb - 128;
        int forHigh = takenForCb <= leap ? 178 : 116130 * z + HALF >> BITS;
        int forLow = 91881 * x + HALF >> BITS;
        int greenOfCr = takenForCr <= leap ? 225 : -46802 * x;
        int greenOfCb = takenForCb <= leap ? -5943854 : -22554 * z + HALF;
        return pack(luma + forHigh, luma + (greenOfCb + greenOfCr >> BITS), luma + forLow);
    }

    private static short pack(int red, int green, int blue) {
        return (short) (clamp(red) >> 3 << 11 | clamp(green) >> 2 << 5 | clamp(blue) >> 3);
    }

    private static int clamp(int value) {
        return Math.max(0, Math.min(255, value));
    }
}
