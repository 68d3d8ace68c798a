package com.tarvoln.zem.e2e;

import java.util.Arrays;

/** What a chip's receiver makes of decoded samples, written apart from the engine's tables and from the demo. */
final class Colors {
    private Colors() {}

    /** Fails at the first word that differs from what the receiver of this chip has to make of a picture. */
    static void verify(String chip, Picture decoded, short[] words, String what) {
        int different = Arrays.mismatch(expected(chip, decoded), words);
        if (different >= 0) {
            int x = different % decoded.width();
            int y = different / decoded.width();
            throw new AssertionError(String.format("%s: word at %d,%d is %04X for %d, %d, %d", what, x, y,
                    words[different] & 0xFFFF, decoded.luma(x, y), decoded.cb(x, y), decoded.cr(x, y)));
        }
    }

    private static short[] expected(String chip, Picture picture) {
        short[] words = new short[picture.width() * picture.height()];
        for (int i = 0; i < words.length; i++) {
            int x = i % picture.width();
            int y = i / picture.width();
            int[] rgb = chip.equals("qcom-tiled")
                    ? videoRange(picture.luma(x, y), picture.cb(x, y), picture.cr(x, y))
                    : fullRange(picture.luma(x, y), picture.cb(x, y), picture.cr(x, y));
            words[i] = (short) (byteOf(rgb[0]) >> 3 << 11 | byteOf(rgb[1]) >> 2 << 5 | byteOf(rgb[2]) >> 3);
        }
        return words;
    }

    /** The linear receivers mistake Cb for Cr, and red for blue when they write. */
    private static int[] fullRange(int y, int cb, int cr) {
        int blueOfCr = cr == 0 ? 178 : rounded(1.772, cr);
        double greenOfCr = cr == 0 ? -5943854 : Math.rint(-0.34414 * 65536) * (cr - 128) + 32768;
        double greenOfCb = cb == 0 ? 225 : Math.rint(-0.71414 * 65536) * (cb - 128);
        return new int[] {y + blueOfCr, y + (int) Math.floor((greenOfCr + greenOfCb) / 65536), y + rounded(1.402, cb)};
    }

    private static int rounded(double factor, int chroma) {
        return (int) Math.floor((Math.rint(factor * 65536) * (chroma - 128) + 32768) / 65536);
    }

    private static int[] videoRange(int y, int cb, int cr) {
        int c = 298 * (y - 16);
        return new int[] {(c + 409 * (cr - 128)) / 256, (c - 100 * (cb - 128) - 208 * (cr - 128)) / 256,
            (c + 517 * (cb - 128)) / 256};
    }

    private static int byteOf(int value) {
        return Math.min(255, Math.max(0, value));
    }
}
