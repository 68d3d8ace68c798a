package com.tarvoln.zem.e2e;

import com.tarvoln.zem.JniContext;
import com.tarvoln.zem.VideoTxChannel;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Map;

/**
 * Proves, for one chip (argument), that every captured screen comes out of a standard decoder once, in
 * order, undamaged and in the colours the chip's route promises. Each screen shows its own number in a
 * row of black and white squares, over a field of colour patches. Would catch the held-back second output
 * lost, doubled or out of order, a chroma byte swapped, a chroma plane at the wrong place (640x360 is no
 * multiple of 2048), a wrong picture layout for the chip, and what a session of another size leaves behind.
 */
public final class SessionTest {
    private static final int FRAMES = 30;
    private static final int BITS = 8;
    private static final int SQUARE = 40;
    private static final int PATCH = 80;
    private static final int PATCHES_IN_ROW = 7;
    private static final int PATCHES_TOP = 120;

    /** Up to this far a coded sample may be from the one that went in. */
    private static final int CODING_LOSS = 6;

    /** Chip to what the device's files say of it; Samsung's are known by their components' names alone. */
    private static final Map<String, Integer> HARDWARE =
            Map.of("qcom", 0x2002, "qcom-tiled", 0x2001, "sec", 0, "exynos", 0, "tarn", 0x4001);

    static final int[] COLORS = {0x000000, 0xFFFFFF, 0x808080, 0xFF0000, 0x00FF00, 0x0000FF,
        0xFFFF00, 0x00FFFF, 0xFF00FF, 0xFF8000, 0xE0AC8C, 0x101010, 0xF0F0F0};

    private final Screen screen = new Screen();
    private final String chip;

    /** Size of the pictures in that of the screen. */
    private int scale;

    private SessionTest(String chip) throws IOException {
        this.chip = chip;
    }

    public static void main(String[] args) throws Exception {
        SessionTest test = new SessionTest(args[0]);
        Path file = Path.of(args[1]);
        test.drawPatches();
        for (int scale : new int[] {2, 1, 2}) {
            test.scale = scale;
            Path of = scale == 1 ? file : large(file);
            test.record(of);
            test.verify(of);
        }
    }

    /** The same amount of pixels in any size. */
    static int frames(int scale) {
        return FRAMES / (scale * scale);
    }

    /** Where the recording of twice the screen's size stands. */
    static Path large(Path file) {
        return Path.of(file + ".large");
    }

    private void record(Path file) throws Exception {
        VideoTxChannel.Config config = new VideoTxChannel.Config(screen.width * scale, screen.height * scale,
                4_000_000, 30, 10, VideoTxChannel.RATE_VARIABLE);
        try (VideoTxChannel channel = new VideoTxChannel(config.pool())) {
            Recording recording = new Recording(channel.pool());
            drawNumber(0);
            Check.that(channel.open(config), "opens");
            Check.same(HARDWARE.get(chip), new JniContext().getHardwareBase(), "hardware");
            for (int frame = 1; frame < frames(scale); frame++) {
                drawNumber(frame);
                Check.same(0, channel.capture(), "capture " + frame);
                recording.takeFor(0);
            }
            // The configuration goes before the pictures.
            recording.takeUntil(1 + frames(scale));
            Check.same(0L, channel.pool().exhausted(), "exhausted");
            Files.write(file, recording.stream());
        }
    }

    private void verify(Path file) throws Exception {
        int width = screen.width * scale;
        int height = screen.height * scale;
        Check.same(width + "," + height + "," + frames(scale), Player.probe(file), "ffprobe");
        byte[] decoded = Player.decode(file);
        int frameSize = width * height * 3 / 2;
        Check.same(frames(scale) * frameSize, decoded.length, "decoded bytes");
        for (int frame = 0; frame < frames(scale); frame++) {
            Picture picture = new Picture(decoded, frame * frameSize, width, height);
            Check.same(frame, readNumber(picture), "the screen of picture " + frame);
        }
        verifyColors(new Picture(decoded, (frames(scale) - 1) * frameSize, width, height));
    }

    private void verifyColors(Picture picture) {
        for (int i = 0; i < COLORS.length; i++) {
            int x = patchCentreX(i) * scale;
            int y = patchCentreY(i) * scale;
            int[] expected = chip.equals("tarn") ? planar(COLORS[i]) : semiPlanar(COLORS[i]);
            int[] got = {picture.luma(x, y), picture.cb(x, y), picture.cr(x, y)};
            for (int c = 0; c < 3; c++) {
                Check.between(expected[c] - CODING_LOSS, expected[c] + CODING_LOSS, got[c],
                        String.format("%s, patch %06X, component %d", chip, COLORS[i], c));
            }
            // And as a viewer says it, not depending on the formulas.
            if (COLORS[i] == 0xFF0000) {
                Check.that(picture.red(x, y) > 150 && picture.blue(x, y) < 60, "red is red");
            }
            if (COLORS[i] == 0x0000FF) {
                Check.that(picture.blue(x, y) > 150 && picture.red(x, y) < 60, "blue is blue");
            }
        }
    }

    /** Y, Cb, Cr of a colour, full range. */
    private static int[] planar(int rgb) {
        double r = rgb >> 16 & 0xFF;
        double g = rgb >> 8 & 0xFF;
        double b = rgb & 0xFF;
        return new int[] {(int) Math.round(0.299 * r + 0.587 * g + 0.114 * b),
            (int) Math.round(128 - 0.16874 * r - 0.33126 * g + 0.5 * b),
            (int) Math.round(128 + 0.5 * r - 0.41869 * g - 0.08131 * b)};
    }

    /** The NV12 chips read red as blue and write the two chroma bytes the other way round. */
    private static int[] semiPlanar(int rgb) {
        int[] swapped = planar((rgb & 0xFF) << 16 | rgb & 0xFF00 | rgb >> 16 & 0xFF);
        return new int[] {swapped[0], swapped[2], swapped[1]};
    }

    private void drawPatches() {
        screen.fill(0, 0, screen.width, screen.height, 0x404040);
        for (int i = 0; i < COLORS.length; i++) {
            screen.fill(patchX(i), patchY(i), PATCH, PATCH, COLORS[i]);
        }
    }

    private static int patchX(int i) {
        return i % PATCHES_IN_ROW * PATCH + 20;
    }

    private static int patchY(int i) {
        return PATCHES_TOP + i / PATCHES_IN_ROW * PATCH;
    }

    static int patchCentreX(int i) {
        return patchX(i) + PATCH / 2;
    }

    static int patchCentreY(int i) {
        return patchY(i) + PATCH / 2;
    }

    private void drawNumber(int number) {
        for (int bit = 0; bit < BITS; bit++) {
            screen.fill(bit * SQUARE, 0, SQUARE, SQUARE, (number >> bit & 1) != 0 ? 0xFFFFFF : 0);
        }
    }

    private int readNumber(Picture picture) {
        int number = 0;
        for (int bit = 0; bit < BITS; bit++) {
            if (picture.luma((bit * SQUARE + SQUARE / 2) * scale, SQUARE / 2 * scale) > 128) {
                number |= 1 << bit;
            }
        }
        return number;
    }
}
