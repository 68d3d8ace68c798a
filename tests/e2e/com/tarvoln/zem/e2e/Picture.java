package com.tarvoln.zem.e2e;

/**
 * One decoded I420 picture among others.
 *
 * @param all the bytes of all of them
 * @param start where this one begins
 */
record Picture(byte[] all, int start, int width, int height) {
    int luma(int x, int y) {
        return all[start + y * width + x] & 0xFF;
    }

    int cb(int x, int y) {
        return chroma(start + width * height, x, y);
    }

    int cr(int x, int y) {
        return chroma(start + width * height * 5 / 4, x, y);
    }

    /** Red as a player shows it, full range. */
    double red(int x, int y) {
        return luma(x, y) + 1.402 * (cr(x, y) - 128);
    }

    double blue(int x, int y) {
        return luma(x, y) + 1.772 * (cb(x, y) - 128);
    }

    private int chroma(int plane, int x, int y) {
        return all[plane + y / 2 * (width / 2) + x / 2] & 0xFF;
    }
}
