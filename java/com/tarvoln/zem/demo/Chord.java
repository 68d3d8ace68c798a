package com.tarvoln.zem.demo;

import java.io.IOException;
import java.io.OutputStream;

/**
 * Something to hear on a machine that plays nothing: four chords, a second each, over and over, as raw stereo PCM
 * on the standard output until that is closed. The same for everybody, so that it is known what must arrive.
 */
public final class Chord {
    private static final int RATE = 44_100;
    private static final int CHANNELS = 2;

    /** Whole numbers of Hz: each second ends where the next begins. */
    private static final int[][] CHORDS = {{262, 330, 392}, {220, 262, 330}, {175, 220, 262}, {196, 247, 294}};

    /** Of one note; three of them stay below full scale. */
    private static final double AMPLITUDE = 7000;

    private Chord() {}

    public static void main(String[] args) {
        try (OutputStream out = System.out) {
            for (int second = 0; !System.out.checkError(); second++) {
                out.write(samples(CHORDS[second % CHORDS.length]));
                out.flush();
            }
        } catch (IOException e) {
            // whoever listened has gone
        }
    }

    private static byte[] samples(int[] chord) {
        byte[] pcm = new byte[RATE * CHANNELS * 2];
        for (int i = 0; i < RATE; i++) {
            double sum = 0;
            for (int frequency : chord) {
                sum += AMPLITUDE * Math.sin(2 * Math.PI * frequency * i / RATE);
            }
            for (int channel = 0; channel < CHANNELS; channel++) {
                pcm[(i * CHANNELS + channel) * 2] = (byte) (int) sum;
                pcm[(i * CHANNELS + channel) * 2 + 1] = (byte) ((int) sum >> 8);
            }
        }
        return pcm;
    }
}
