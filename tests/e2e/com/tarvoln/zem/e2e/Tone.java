package com.tarvoln.zem.e2e;

import com.tarvoln.zem.AudioRxChannel;
import com.tarvoln.zem.BufferPool;
import com.tarvoln.zem.MediaUnit;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.ShortBuffer;

/** Sines, one for each channel: played on the sound server until closed, made, and found again in PCM. */
final class Tone implements AutoCloseable {
    static final int RATE = 44_100;

    private final Process player;
    private final int[] hertz;

    Tone(int... hertz) throws IOException {
        this.hertz = hertz;
        ProcessBuilder builder = new ProcessBuilder("pacat", "--raw", "--format=s16le", "--rate=" + RATE,
                "--channels=" + hertz.length).redirectError(ProcessBuilder.Redirect.INHERIT);
        builder.environment().remove("LD_PRELOAD");
        player = builder.start();
    }

    /** Plays a second of PCM over and over: frequencies of whole Hz go on without a break. */
    void play() {
        byte[] second = pcm(RATE, hertz).array();
        Thread thread = new Thread(() -> {
            try (OutputStream pipe = player.getOutputStream()) {
                while (true) {
                    pipe.write(second);
                }
            } catch (IOException e) {
                // closed
            }
        }, "tone");
        thread.setDaemon(true);
        thread.start();
    }

    /** Interleaved 16-bit samples, in a heap buffer. */
    static ByteBuffer pcm(int frames, int... hertz) {
        ByteBuffer pcm = ByteBuffer.allocate(frames * hertz.length * 2).order(ByteOrder.LITTLE_ENDIAN);
        for (int i = 0; i < frames * hertz.length; i++) {
            double angle = 2 * Math.PI * hertz[i % hertz.length] * (i / hertz.length) / RATE;
            pcm.putShort((short) (10_000 * Math.sin(angle)));
        }
        return pcm.flip();
    }

    /** Has a packet decoded, as one that came over a network: Java copies it. */
    static int pass(BufferPool pool, MediaUnit packet, AudioRxChannel receiver) {
        ByteBuffer input = ByteBuffer.allocateDirect(packet.size()).put(packet.payload());
        pool.release(packet);
        return receiver.decode(input, 0, input.capacity());
    }

    static ShortBuffer samples(byte[] pcm) {
        return ByteBuffer.wrap(pcm).order(ByteOrder.nativeOrder()).asShortBuffer();
    }

    /**
     * The share of a sine in the energy of one channel, 0 to 1.
     *
     * @param step samples from one of the channel to the next
     */
    static double share(ShortBuffer samples, int first, int step, int count, double hertz) {
        double cosine = 0;
        double sine = 0;
        double energy = 1;
        for (int i = 0; i < count; i++) {
            double sample = samples.get(first + i * step);
            double angle = 2 * Math.PI * hertz * i / RATE;
            cosine += sample * Math.cos(angle);
            sine += sample * Math.sin(angle);
            energy += sample * sample;
        }
        return (cosine * cosine + sine * sine) * 2 / count / energy;
    }

    @Override
    public void close() {
        player.destroy();
        player.onExit().join();
    }
}
