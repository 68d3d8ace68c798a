package com.tarvoln.zem.demo;

import java.io.Closeable;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.util.concurrent.ArrayBlockingQueue;
import java.util.concurrent.TimeUnit;

/**
 * Plays PCM through a program of the sound server's, pacat: Java's own sound is not in a headless run-time and
 * knows no sound server. The program takes what it is given in real time, so a thread waits for it, and who
 * plays does not. When the queue between them is full the oldest sound is dropped: it stays near live.
 */
final class Speaker implements Closeable {
    /** A block is 20 to 90 ms of sound. */
    private static final int MOST_BLOCKS = 4;

    /** Sound comes by the page of up to 100 ms: with less than two in hand it breaks off at every late one. */
    private static final int LATENCY_MILLIS = 200;
    private static final int CLOSE_MILLIS = 500;

    private final Process player;
    private final ArrayBlockingQueue<byte[]> blocks = new ArrayBlockingQueue<>(MOST_BLOCKS);
    private final Thread thread = new Thread(this::run, "speaker");

    private Speaker(Process player) {
        this.player = player;
        thread.setDaemon(true);
        thread.start();
    }

    /** Null, after saying so, when there is no such program. */
    static Speaker open(String sink, int rate, int channels) {
        ProcessBuilder builder = new ProcessBuilder("pacat", "--playback", "--raw", "--format=s16le", "--rate=" + rate,
                "--channels=" + channels, "--latency-msec=" + LATENCY_MILLIS, "--client-name=ZEM: received",
                "--device=" + sink).redirectError(ProcessBuilder.Redirect.INHERIT);
        builder.environment().remove("LD_PRELOAD"); // a sanitizer's, of the engine's concern
        try {
            return new Speaker(builder.start());
        } catch (IOException e) {
            System.out.println("The received sound is not played: " + e.getMessage());
            return null;
        }
    }

    /** Does not wait. */
    void play(ByteBuffer pcm) {
        byte[] block = new byte[pcm.remaining()];
        pcm.get(block);
        while (!blocks.offer(block)) {
            blocks.poll();
        }
    }

    private void run() {
        try (OutputStream pipe = player.getOutputStream()) {
            while (true) {
                pipe.write(blocks.take());
                pipe.flush();
            }
        } catch (InterruptedException | IOException e) {
            // Closed; or the player has ended, and has said why. The file has the sound in any case.
        }
    }

    /** Lets the last block sound, for a moment at most. */
    @Override
    public void close() {
        thread.interrupt();
        try {
            player.waitFor(CLOSE_MILLIS, TimeUnit.MILLISECONDS);
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt(); // nobody does
        }
        player.destroy();
    }
}
