package com.tarvoln.zem.e2e;

import com.tarvoln.zem.BufferPool;
import com.tarvoln.zem.MediaUnit;
import com.tarvoln.zem.VideoRxChannel;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.function.BiConsumer;

/** A decoder for pictures of one size, fed unit by unit. */
final class Receiving implements AutoCloseable {
    /** Five times the largest number of output buffers that a decoder should have, and the first picture. */
    private static final int MOST_LEFT_OUT = 5 * 6 + 1;

    /** Longer than the time between two pictures on a busy machine; sanitizers make converters slow. */
    private static final long QUIET_MILLIS = System.getenv("LD_PRELOAD") == null ? 300 : 2000;

    private final ByteBuffer input = ByteBuffer.allocateDirect(4 << 20);
    private final int width;
    private final int height;
    final VideoRxChannel channel;

    Receiving(int width, int height) {
        this.width = width;
        this.height = height;
        channel = new VideoRxChannel(new BufferPool(4, width * height * 2, 0));
        Check.that(channel.open(width, height), "the decoder opens");
    }

    /** The unit's picture as RGB565 words, or null when none comes in time. */
    short[] decode(byte[] unit, long limitMillis) throws InterruptedException {
        // With all its buffers in use the decoder refuses a unit once, after waiting for one.
        Check.that(feed(unit) == 0 || feed(unit) == 0, "a good unit is refused");
        return take(limitMillis);
    }

    int feed(byte[] unit) {
        input.put(0, unit);
        return channel.decode(input, 0, unit.length);
    }

    /** The next picture that has this size, or null. */
    short[] take(long limitMillis) throws InterruptedException {
        MediaUnit unit = channel.pool().take(limitMillis, TimeUnit.MILLISECONDS);
        if (unit == null) {
            return null;
        }
        short[] words = new short[unit.size() / 2];
        unit.payload().order(ByteOrder.nativeOrder()).asShortBuffer().get(words);
        channel.pool().release(unit);
        return words.length == width * height ? words : take(limitMillis);
    }

    /** Gives the decoder a key frame until its picture comes: the first ones after it learned the size do not. */
    short[] join(byte[] keyUnit) throws InterruptedException {
        for (int i = 0; i < MOST_LEFT_OUT; i++) {
            short[] words = decode(keyUnit, 60);
            if (words != null) {
                while (take(QUIET_MILLIS) != null) {
                    // of the same key frame, on a busy machine
                }
                return words;
            }
        }
        throw new AssertionError("no picture after " + MOST_LEFT_OUT + " key frames");
    }

    /** Decodes a stream that begins with a key frame; each picture goes, with its number, to the check. */
    void decodeAll(List<byte[]> units, BiConsumer<Integer, short[]> check) throws InterruptedException {
        check.accept(0, join(units.get(0)));
        for (int i = 1; i < units.size(); i++) {
            short[] words = decode(units.get(i), 5000);
            Check.that(words != null, "unit " + i + " gives a picture");
            check.accept(i, words);
        }
    }

    @Override
    public void close() {
        channel.close();
    }
}
