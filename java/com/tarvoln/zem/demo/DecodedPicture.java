package com.tarvoln.zem.demo;

import com.tarvoln.zem.MediaUnit;
import java.awt.image.BufferedImage;
import java.io.IOException;
import java.nio.ByteOrder;
import java.nio.file.Path;
import javax.imageio.ImageIO;

/**
 * A decoded picture in memory.
 *
 * @param words rows from the top, RGB565 with red in the high bits
 * @param arrivalNanos when the engine handed it over, {@link System#nanoTime()}
 */
record DecodedPicture(int width, int height, short[] words, long arrivalNanos) {
    /** A copy of a unit, which may be released then; null when it is no picture of this size. */
    static DecodedPicture of(MediaUnit unit, int width, int height) {
        if (unit.size() != width * height * 2) {
            return null;
        }
        short[] words = new short[width * height];
        unit.payload().order(ByteOrder.nativeOrder()).asShortBuffer().get(words);
        return new DecodedPicture(width, height, words, unit.arrivalNanos());
    }

    /** 0xRRGGBB; the lost bits are filled from the high ones, so that white is white. */
    static int rgb(short word) {
        int red = word >> 11 & 0x1F;
        int green = word >> 5 & 0x3F;
        int blue = word & 0x1F;
        return (red << 3 | red >> 2) << 16 | (green << 2 | green >> 4) << 8 | blue << 3 | blue >> 2;
    }

    BufferedImage image() {
        BufferedImage image = new BufferedImage(width, height, BufferedImage.TYPE_INT_RGB);
        int[] row = new int[width];
        for (int y = 0; y < height; y++) {
            for (int x = 0; x < width; x++) {
                row[x] = rgb(words[y * width + x]);
            }
            image.getRaster().setDataElements(0, y, width, 1, row);
        }
        return image;
    }

    void writePng(Path path) throws IOException {
        if (!ImageIO.write(image(), "png", path.toFile())) {
            throw new IOException("this Java cannot write PNG files");
        }
    }
}
