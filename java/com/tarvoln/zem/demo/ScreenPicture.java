package com.tarvoln.zem.demo;

import com.tarvoln.zem.VideoTxChannel;
import java.awt.image.BufferedImage;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Path;
import javax.imageio.ImageIO;

/**
 * A captured screen in memory.
 *
 * @param rgba rows from the top, 4 bytes a pixel: red, green, blue, alpha
 */
record ScreenPicture(int width, int height, ByteBuffer rgba) {
    /** The screen that the channel captured last, or null when there is none. */
    static ScreenPicture of(VideoTxChannel channel, int width, int height) {
        int size = width * height * 4;
        ByteBuffer rgba = ByteBuffer.allocateDirect(size);
        return channel.getCapturedScreenData(rgba, 0, size) == size
                ? new ScreenPicture(width, height, rgba)
                : null;
    }

    void writePng(Path path) throws IOException {
        BufferedImage image = new BufferedImage(width, height, BufferedImage.TYPE_INT_RGB);
        for (int y = 0; y < height; y++) {
            for (int x = 0; x < width; x++) {
                int at = (y * width + x) * 4;
                image.setRGB(x, y, (rgba.get(at) & 0xFF) << 16 | (rgba.get(at + 1) & 0xFF) << 8
                        | rgba.get(at + 2) & 0xFF);
            }
        }
        if (!ImageIO.write(image, "png", path.toFile())) {
            throw new IOException("this Java cannot write PNG files");
        }
    }
}
