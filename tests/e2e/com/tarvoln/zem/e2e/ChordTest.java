package com.tarvoln.zem.e2e;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.ShortBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;

/**
 * Proves that a WAV file of a demo (argument) is whole and has the demo's chords in it, one after the other. Would
 * catch a header that does not fit the samples, and sound that is missing, doubled, out of order or of another rate.
 */
public final class ChordTest {
    private static final int HEADER_BYTES = 44;
    private static final int SIZE_AT = 40;
    private static final int[][] CHORDS = {{262, 330, 392}, {220, 262, 330}, {175, 220, 262}, {196, 247, 294}};
    private static final int WINDOWS_PER_SECOND = 5;

    public static void main(String[] args) throws Exception {
        byte[] file = Files.readAllBytes(Path.of(args[0]));
        Check.same(file.length - HEADER_BYTES, ByteBuffer.wrap(file).order(ByteOrder.LITTLE_ENDIAN).getInt(SIZE_AT), "bytes");
        ShortBuffer samples = Tone.samples(Arrays.copyOfRange(file, HEADER_BYTES, file.length));
        int window = Tone.RATE / WINDOWS_PER_SECOND;
        int windows = samples.capacity() / 2 / window;
        int clear = 0;
        int changes = 0;
        int last = -1;
        for (int i = 0; i < windows; i++) {
            int chord = chordOf(samples, i * window * 2, window);
            clear += chord < 0 ? 0 : 1;
            if (chord >= 0 && last >= 0 && chord != last) {
                Check.same((last + 1) % CHORDS.length, chord, "the chord after chord " + last + " in window " + i);
                changes++;
            }
            last = chord < 0 ? last : chord;
        }
        // One window in a second has the change in it; at first there may be silence.
        Check.between(windows * 2 / 3, windows, clear, "windows with a chord");
        Check.between(windows / WINDOWS_PER_SECOND - 1, windows / WINDOWS_PER_SECOND + 1, changes, "changes");
    }

    private static int chordOf(ShortBuffer samples, int first, int count) {
        for (int chord = 0; chord < CHORDS.length; chord++) {
            double share = 0;
            for (int hertz : CHORDS[chord]) {
                share += Tone.share(samples, first, 2, count, hertz);
            }
            if (share > 0.9) {
                return chord;
            }
        }
        return -1;
    }
}
