package com.tarvoln.zem.e2e;

import java.io.IOException;
import java.nio.ByteOrder;
import java.nio.MappedByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;

/**
 * The X server's screen, drawn on without a client: Xvfb keeps it in a mapped file (-fbdir), an XWD dump
 * whose 32-bit header fields are big-endian and whose pixels are 0x00RRGGBB in the machine's order.
 */
final class Screen {
    private static final int HEADER_SIZE = 0;
    private static final int WIDTH = 4 * 4;
    private static final int HEIGHT = 5 * 4;
    private static final int BYTES_PER_LINE = 12 * 4;
    private static final int COLORS = 19 * 4;
    private static final int BYTES_PER_COLOR = 12;

    private final MappedByteBuffer file;
    private final int pixels;
    private final int line;
    final int width;
    final int height;

    /** The screen that the test's script started. */
    Screen() throws IOException {
        Path path = Path.of(System.getProperty("zem.test.framebuffer"));
        try (FileChannel channel =
                FileChannel.open(path, StandardOpenOption.READ, StandardOpenOption.WRITE)) {
            file = channel.map(FileChannel.MapMode.READ_WRITE, 0, channel.size());
        }
        width = file.getInt(WIDTH);
        height = file.getInt(HEIGHT);
        line = file.getInt(BYTES_PER_LINE);
        pixels = file.getInt(HEADER_SIZE) + file.getInt(COLORS) * BYTES_PER_COLOR;
        file.order(ByteOrder.nativeOrder());
    }

    static void pause(long millis) {
        try {
            Thread.sleep(millis);
        } catch (InterruptedException e) {
            throw new AssertionError(e);
        }
    }

    void fill(int x, int y, int w, int h, int rgb) {
        for (int row = y; row < y + h; row++) {
            for (int column = x; column < x + w; column++) {
                file.putInt(pixels + row * line + column * 4, rgb);
            }
        }
    }
}
