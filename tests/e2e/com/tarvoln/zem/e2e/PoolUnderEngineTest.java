package com.tarvoln.zem.e2e;

import com.tarvoln.zem.BufferPool;
import com.tarvoln.zem.VideoTxChannel;
import java.nio.ByteBuffer;

/**
 * Proves that the engine survives what Java's pool can do in a real VM and delivers again as soon as it
 * is offered a good one. Would catch a Java exception left pending on an engine thread, an address taken
 * from a heap buffer, a write before the offset or past the capacity, and a pool that never recovers.
 */
public final class PoolUnderEngineTest {
    private static final VideoTxChannel.Config CONFIG = VideoTxChannel.Config.screen(320, 180);
    private static final byte UNTOUCHED = 0x5A;
    private static final int OFFSET = 16;

    private enum Mode { GOOD, NONE, HEAP, THROWS, THROWS_LATE }

    /** Offers what its mode says. The engine's threads read the mode and count, the test sets them. */
    private static final class Channel extends VideoTxChannel {
        volatile Mode mode = Mode.GOOD;
        volatile int asked;

        Channel(BufferPool pool) {
            super(pool);
        }

        @Override
        public ByteBuffer getFreeBuffer() {
            asked++;
            return switch (mode) {
                case GOOD, THROWS_LATE -> super.getFreeBuffer();
                case NONE -> null;
                case HEAP -> ByteBuffer.allocate(1 << 20);
                case THROWS -> throw new IllegalStateException("getFreeBuffer, as the test asks");
            };
        }

        @Override
        public void addUsedBuffer(ByteBuffer buffer, int size) {
            if (mode == Mode.THROWS_LATE) {
                throw new IllegalStateException("addUsedBuffer, as the test asks");
            }
            super.addUsedBuffer(buffer, size);
        }

        /** Captures until the engine has asked for so many buffers more. */
        void captureUntilAsked(int more) {
            for (int wanted = asked + more; asked < wanted; ) {
                Check.same(0, capture(), "capture");
            }
        }
    }

    public static void main(String[] args) throws Exception {
        strangePools();
        tooSmallUnits();
    }

    private static void strangePools() throws Exception {
        int count = 3;
        try (Channel channel = new Channel(new BufferPool(count, 1 << 18, OFFSET))) {
            Check.that(channel.open(CONFIG), "opens");
            Recording recording = new Recording(channel.pool());
            for (Mode mode : Mode.values()) {
                channel.mode = mode;
                channel.captureUntilAsked(count + 2);
                channel.mode = Mode.GOOD;
                channel.pool().clear();
                channel.captureUntilAsked(2);
                recording.takeUntil(recording.units.size() + 1);
            }
            Check.that(channel.pool().exhausted() > 0, "a pool that nobody empties is full");
        }
    }

    /** Pictures that do not fit are dropped whole, and their buffers are found again. */
    private static void tooSmallUnits() {
        BufferPool pool = new BufferPool(2, 1, OFFSET);
        ByteBuffer lent = pool.getFreeBuffer();
        for (int i = 0; i < lent.capacity(); i++) {
            lent.put(i, UNTOUCHED);
        }
        pool.addUsedBuffer(lent, 0);
        pool.clear();
        try (Channel channel = new Channel(pool)) {
            Check.that(channel.open(CONFIG), "opens");
            channel.captureUntilAsked(5);
        }
        Check.same(0, pool.pending(), "nothing fits");
        Check.that(pool.abandoned() >= 3, "abandoned buffers are found: " + pool.abandoned());
        Check.same(0L, pool.exhausted(), "so the pool never runs dry");
        for (int i = 0; i < lent.capacity(); i++) {
            Check.same(UNTOUCHED, lent.get(i), "byte " + i);
        }
    }
}
