package com.tarvoln.zem.e2e;

import com.tarvoln.zem.demo.AnnexB;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.Random;

/**
 * Proves, for one chip (argument), that no damage to a stream outlives the next key frame: cut units, noise, units
 * out of order, packets of 0 and 1 byte, one larger than any buffer of the component's, a stream of another size.
 * Would catch a damaged unit that ends the decoder, keeps an input buffer, leaves a picture behind that comes out
 * as a later one's, or is read or written out of bounds.
 */
public final class DamageTest {
    private static final int WIDTH = 640;
    private static final int HEIGHT = 360;

    /** Above the pixels of the largest picture: no component's input buffer is that large. */
    private static final int TOO_LARGE = 4 << 20;

    private static final Random RANDOM = new Random(7);

    private final List<byte[]> units;
    private final Receiving receiving;
    private final short[] keyPicture;

    private DamageTest(Path file, Receiving receiving) throws Exception {
        this.receiving = receiving;
        Player.make(file, WIDTH, HEIGHT, 6);
        units = AnnexB.accessUnits(Files.readAllBytes(file));
        keyPicture = receiving.join(units.get(0));
    }

    public static void main(String[] args) throws Exception {
        Path file = Path.of(args[1]);
        try (Receiving receiving = new Receiving(WIDTH, HEIGHT)) {
            DamageTest test = new DamageTest(file, receiving);
            for (int round = 0; round < 4; round++) {
                test.damage("cut", cut(test.units.get(0)), cut(test.units.get(1)), cut(test.units.get(2)));
                test.damage("noise", noise(200), noise(60_000), startCode(noise(500)));
            }
            test.damage("out of order", test.units.get(3), test.units.get(1), test.units.get(4), test.units.get(2));
            test.damage("tiny", new byte[0], new byte[1], new byte[] {0, 0, 1}, new byte[0]);
            test.damage("too large", startCode(noise(TOO_LARGE)));
        }
        try (Receiving receiving = new Receiving(WIDTH, HEIGHT)) {
            receiving.join(new DamageTest(file, receiving).units.get(0));
            Player.make(file, 1280, 720, 2);
            for (byte[] unit : AnnexB.accessUnits(Files.readAllBytes(file))) {
                receiving.feed(unit); // a size it was not opened for: what comes of it is not told
            }
        }
    }

    /** Feeds the damage, then a key frame, which must look as it did at first. */
    private void damage(String what, byte[]... damaged) throws InterruptedException {
        for (byte[] unit : damaged) {
            receiving.feed(unit);
        }
        for (int tries = 0; tries < 40; tries++) {
            receiving.feed(units.get(0));
            for (short[] picture = receiving.take(50); picture != null; picture = receiving.take(0)) {
                if (Arrays.equals(keyPicture, picture)) {
                    return;
                }
            }
        }
        throw new AssertionError(what + ": the next key frames do not come back");
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
        byte[] code = {0, 0, 0, 1, 0x65};
        System.arraycopy(code, 0, bytes, 0, code.length);
        return bytes;
    }
}
