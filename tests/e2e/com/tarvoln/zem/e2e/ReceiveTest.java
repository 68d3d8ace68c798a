package com.tarvoln.zem.e2e;

import com.tarvoln.zem.demo.AnnexB;
import com.tarvoln.zem.demo.ColorRoute;
import com.tarvoln.zem.demo.PlayFile;
import java.awt.image.BufferedImage;
import java.io.ByteArrayOutputStream;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import java.util.function.IntBinaryOperator;
import javax.imageio.ImageIO;

/**
 * Proves, for one receiving chip (first argument), that the streams that SessionTest recorded (qcom's, tarn's) come
 * out of the engine picture by picture as a decode from outside, converted here, gives them, word for word; that
 * the patches have the colours that this pair of chips is known for, also in the demo's own arithmetic; and that a
 * stream whose size changes and changes back is followed by closing and opening; that no damage to a stream outlives
 * the next key frame. Would catch rows read without their padding, tiles in a wrong order, a chroma plane at the wrong
 * place or taken for the other one, a picture left out, doubled or upside down, the converter of one size kept for the
 * next, and a damaged unit that ends the decoder, keeps an input buffer, leaves a picture behind that comes out as a
 * later one's, or is read or written out of bounds.
 */
public final class ReceiveTest {
    /** A colour may be this far off, RGB565 and coding included. */
    private static final int TOLERANCE = 12;

    private static final Random RANDOM = new Random(7);

    /**
     * What SessionTest's patches come back as: columns for senders that swap (Qualcomm, Samsung) to linear and
     * to tiled receivers, then for tarn to the same. The hues that shift do so by design.
     */
    private static final int[][] PATCHES = {
        {0x000000, 0x000000, 0x000000, 0x000000}, {0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF},
        {0x808080, 0x828282, 0x808080, 0x828282}, {0xFE0000, 0xDA0000, 0xFF3F10, 0xFF0000},
        {0x01FF00, 0x15FF00, 0x00F720, 0x00FF00}, {0x0000FE, 0x0137FF, 0x0000CF, 0x0000FF},
        {0xFFA400, 0xFFCC00, 0xFFDB2F, 0xFFFF00}, {0xFF78FF, 0x27FFFF, 0xFF39EF, 0x00FFFF},
        {0xFE00FF, 0xED00FF, 0xFF08DF, 0xFF00FF}, {0xFF8000, 0xEE3E00, 0xFFBA20, 0xFF8200},
        {0xDFAC8C, 0xE29F88, 0xEBC095, 0xF1B591}, {0x101010, 0x000000, 0x101010, 0x000000},
        {0xF0F0F0, 0xFFFFFF, 0xF0F0F0, 0xFFFFFF}};

    public static void main(String[] args) throws Exception {
        String chip = args[0];
        int tiled = chip.equals("qcom-tiled") ? 1 : 0;
        verifyRoute(ColorRoute.between("sec", chip), tiled);
        verifyRoute(ColorRoute.between("tarn", chip), 2 + tiled);
        try (Receiving receiving = new Receiving(640, 360)) {
            for (int sender = 0; sender < 2; sender++) {
                short[] last = verify(chip, receiving, Path.of(args[1 + sender]), 640, 360);
                verifyPatches((x, y) -> rgb(last[y * 640 + x]), 1, 2 * sender + tiled);
            }
        }
        verifySizeChanges(Path.of(args[1]), Path.of(args[3]).getParent(), tiled);
        int[][] sizes = {{1280, 720}, {328, 248}};
        List<byte[]> other = List.of();
        for (int[] size : sizes) {
            Path file = Path.of(args[3] + size[0]);
            Player.make(file, size[0], size[1], 5);
            try (Receiving receiving = new Receiving(size[0], size[1])) {
                verify(chip, receiving, file, size[0], size[1]);
                Check.same(size[0], receiving.channel.getDecodedVideoWidth(), "width");
                Check.same(size[1], receiving.channel.getDecodedVideoHeight(), "height");
                List<byte[]> units = AnnexB.accessUnits(Files.readAllBytes(file));
                verifyRecovery(receiving, units);
                for (byte[] unit : other) {
                    receiving.feed(unit); // of a size it was not opened for: what comes of it is not told
                }
                other = units;
            }
        }
    }

    /** The stream's last picture, after all were right. */
    private static short[] verify(String chip, Receiving receiving, Path file, int width, int height)
            throws Exception {
        List<byte[]> units = AnnexB.accessUnits(Files.readAllBytes(file));
        byte[] decoded = Player.decode(file);
        int frameSize = width * height * 3 / 2;
        Check.same(decoded.length / frameSize, units.size(), "pictures of " + file);
        short[][] last = new short[1][];
        receiving.decodeAll(units, (number, words) -> {
            Colors.verify(chip, new Picture(decoded, number * frameSize, width, height), words,
                    chip + ", picture " + number + " of " + file.getFileName());
            last[0] = words;
        });
        Check.same(0L, receiving.channel.pool().exhausted(), "exhausted");
        return last[0];
    }

    private static void verifyRecovery(Receiving receiving, List<byte[]> units) throws Exception {
        short[] key = receiving.join(units.get(0));
        byte[] large = startCode(noise(4 << 20)); // no component's input buffer is that large
        byte[][][] damages = {{cut(units.get(0)), cut(units.get(1)), cut(units.get(2))},
            {noise(200), noise(60_000), startCode(noise(500))}, // and out of order, tiny, too large:
            {units.get(3), units.get(1), units.get(4), units.get(2)}, {{}, {0}, {0, 0, 1}, {}}, {large}};
        for (int i = 0; i < 2 * damages.length; i++) {
            for (byte[] unit : damages[i % damages.length]) {
                receiving.feed(unit);
            }
            boolean back = false;
            for (int tries = 0; tries < 40 && !back; tries++) {
                receiving.feed(units.get(0));
                for (short[] picture = receiving.take(50); picture != null && !back; picture = receiving.take(0)) {
                    back = Arrays.equals(key, picture);
                }
            }
            Check.that(back, "damage " + i + ": the next key frames do not come back");
        }
    }

    private static byte[] cut(byte[] unit) {
        return Arrays.copyOf(unit, 1 + RANDOM.nextInt(unit.length - 1));
    }

    private static byte[] noise(int size) {
        byte[] bytes = new byte[size];
        RANDOM.nextBytes(bytes);
        return bytes;
    }

    /** Makes it begin as a slice does. */
    private static byte[] startCode(byte[] bytes) {
        System.arraycopy(new byte[] {0, 0, 0, 1, 0x65}, 0, bytes, 0, 5);
        return bytes;
    }

    private static void verifySizeChanges(Path small, Path folder, int column) throws Exception {
        ByteArrayOutputStream stream = new ByteArrayOutputStream();
        for (Path part : List.of(SessionTest.large(small), small, SessionTest.large(small))) {
            stream.writeBytes(Files.readAllBytes(part));
        }
        Path file = Files.write(folder.resolve("sizes.h264"), stream.toByteArray());
        PlayFile.main(new String[] {"--out", folder.toString(), "--file", file.toString()});
        int number = 0;
        for (int scale : new int[] {2, 1, 2}) {
            for (int last = number + SessionTest.frames(scale); number < last; ) {
                String name = String.format("played/%04d.png", ++number);
                BufferedImage picture = ImageIO.read(folder.resolve(name).toFile());
                Check.same(640 * scale + "x" + 360 * scale, picture.getWidth() + "x" + picture.getHeight(), name);
                verifyPatches(picture::getRGB, scale, column);
            }
        }
    }

    private static void verifyRoute(ColorRoute route, int column) {
        for (int i = 0; i < PATCHES.length; i++) {
            ByteBuffer block = ByteBuffer.allocate(16);
            while (block.hasRemaining()) {
                block.putInt(SessionTest.COLORS[i] << 8);
            }
            int rgb = PATCHES[i][column];
            Check.same((short) (rgb >> 8 & 0xF800 | rgb >> 5 & 0x7E0 | rgb >> 3 & 0x1F), route.picture(block, 2, 2)[3],
                    "route, column " + column + ", patch " + i);
        }
    }

    private static void verifyPatches(IntBinaryOperator picture, int scale, int column) {
        for (int i = 0; i < PATCHES.length; i++) {
            int got = picture.applyAsInt(SessionTest.patchCentreX(i) * scale, SessionTest.patchCentreY(i) * scale);
            for (int shift = 0; shift <= 16; shift += 8) {
                int expected = PATCHES[i][column] >> shift & 0xFF;
                Check.between(expected - TOLERANCE, expected + TOLERANCE, got >> shift & 0xFF,
                        "column " + column + ", patch " + i + ", bits from " + shift);
            }
        }
    }

    private static int rgb(int word) {
        return (word >> 11 & 31) * 255 / 31 << 16 | (word >> 5 & 63) * 255 / 63 << 8 | (word & 31) * 255 / 31;
    }
}
