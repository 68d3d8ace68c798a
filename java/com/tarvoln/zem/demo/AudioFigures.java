package com.tarvoln.zem.demo;

import java.util.Locale;

/**
 * What became of the session's sound.
 *
 * @param blocks packets that the sender's engine delivered, of {@code bytes} in all
 * @param seconds from the start of the capture to its end
 * @param received the other end's share
 * @param dropped packets lost at the sender: no free buffer in the pool
 */
record AudioFigures(AudioCodec codec, int rate, int channels, int blocks, long bytes, double seconds, long dropped,
        Received received) {
    /**
     * The receiver's share.
     *
     * @param frames samples of one channel that came out
     * @param dropped packets that the decoder refused, and decoded blocks that found no free buffer
     * @param measured number of latencies
     * @param median of them, in ms
     * @param high their 95th percentile, in ms
     */
    record Received(long frames, long dropped, int measured, double median, double high) {
        /** The form in which it travels. */
        String line() {
            return String.format(Locale.ROOT, "%d %d %d %.3f %.3f", frames, dropped, measured, median, high);
        }

        static Received parse(String line) {
            String[] words = line.split(" ");
            return new Received(Long.parseLong(words[0]), Long.parseLong(words[1]), Integer.parseInt(words[2]),
                    Double.parseDouble(words[3]), Double.parseDouble(words[4]));
        }
    }

    double kbps() {
        return seconds > 0 ? bytes * 8 / 1000.0 / seconds : 0;
    }

    String json() {
        String latency = received.measured() == 0 ? "null" : String.format(Locale.ROOT,
                "{\"p50\": %.3f, \"p95\": %.3f}", received.median(), received.high());
        return String.format(Locale.ROOT, """
                {
                  "codec": "%s",
                  "rate": %d,
                  "channels": %d,
                  "blocks": %d,
                  "bytes": %d,
                  "kbps": %.1f,
                  "received_seconds": %.3f,
                  "latency_ms": %s,
                  "dropped": %d
                }""", codec, rate, channels, blocks, bytes, kbps(), (double) received.frames() / rate, latency,
                dropped + received.dropped());
    }

    String text() {
        if (blocks == 0) {
            return "  sound: none; nothing was playing, or engine.log says why\n";
        }
        StringBuilder text = new StringBuilder(String.format(Locale.ROOT,
                "  sound: %s, %d Hz, %.0f kbit/s, %.1f s received", codec, rate, kbps(),
                (double) received.frames() / rate));
        if (received.measured() > 0) {
            text.append(String.format(Locale.ROOT, "; %.0f ms median, %.0f ms 95th percentile from capture to PCM",
                    received.median(), received.high()));
        }
        if (dropped + received.dropped() > 0) {
            text.append(String.format("; %d blocks were dropped", dropped + received.dropped()));
        }
        return text.append("\n").toString();
    }
}
