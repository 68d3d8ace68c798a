package com.tarvoln.zem.e2e;

import com.tarvoln.zem.BufferPool;
import com.tarvoln.zem.MediaUnit;
import com.tarvoln.zem.VideoTxChannel;
import java.nio.ByteBuffer;
import java.util.concurrent.TimeUnit;

/**
 * Proves that the engine survives every pool Java can offer and delivers again as soon as it is offered a
 * good one. Would catch a Java exception left pending on an engine thread, an address taken from a heap
 * buffer, a write before the offset or past the capacity, and a pool that never recovers.
 */
public final class PoolUnderEngineTest {
    private static final VideoTxChannel.Config CONFIG = VideoTxChannel.Config.screen(320, 180);
    private static final byte UNTOUCHED = 0x5A;
    private static final int OFFSET = 16;

    private enum Mode { GOOD, NONE, HEAP, TINY, THROWS, THROWS_LATE }

    /** Offers what its mode says. The engine's threads read the mode, the test sets it. */
    private static final class Channel extends VideoTxChannel {
        volatile Mode mode = Mode.GOOD;
        private final int offset;

        Channel(BufferPool pool, int offset) {
            super(pool);
            this.offset = offset;
        }

        @Override
        public int getBufferOffset() {
            return offset;
        }

        @Override
        public ByteBuffer getFreeBuffer() {
            return switch (mode) {
                case GOOD, THROWS_LATE -> super.getFreeBuffer();
                case NONE -> null;
                case HEAP -> ByteBuffer.allocate(1 << 20);
                case TINY -> ByteBuffer.allocateDirect(OFFSET - 1);
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
    }

    public static void main(String[] args) throws Exception {
        strangePools();
        negativeOffset();
        exhaustion();
        tooSmallUnits();
    }

    private static void strangePools() throws Exception {
        try (Channel channel = new Channel(new BufferPool(4, 1 << 18, OFFSET), OFFSET)) {
            Check.that(channel.open(CONFIG), "opens");
            for (Mode mode : Mode.values()) {
                channel.mode = mode;
                capture(channel, 3);
                Screen.pause(200);
                channel.pool().clear();
                channel.mode = Mode.GOOD;
                capture(channel, 2);
                MediaUnit unit = channel.pool().take(5, TimeUnit.SECONDS);
                Check.that(unit != null, "delivers again after " + mode);
                channel.pool().release(unit);
            }
        }
    }

    private static void negativeOffset() throws Exception {
        try (Channel channel = new Channel(CONFIG.pool(), -8)) {
            channel.open(CONFIG);
            channel.capture();
            Check.same(null, channel.pool().take(300, TimeUnit.MILLISECONDS), "nothing is delivered");
        }
    }

    private static void exhaustion() throws Exception {
        int count = 3;
        try (VideoTxChannel channel = new VideoTxChannel(new BufferPool(count, 1 << 18, 0))) {
            Check.that(channel.open(CONFIG), "opens");
            capture(channel, 8);
            Screen.pause(200);
            BufferPool pool = channel.pool();
            Check.same(count, pool.pending(), "all are filled");
            Check.that(pool.exhausted() > 0, "and that was counted");
            for (int i = 0; i < count; i++) {
                pool.release(pool.take(0, TimeUnit.SECONDS));
            }
            capture(channel, 2);
            Check.that(pool.take(5, TimeUnit.SECONDS) != null, "delivers again");
        }
    }

    /** Pictures that do not fit are dropped whole, and their buffers are found again. */
    private static void tooSmallUnits() throws Exception {
        BufferPool pool = new BufferPool(2, 1, OFFSET);
        ByteBuffer lent = pool.getFreeBuffer();
        for (int i = 0; i < lent.capacity(); i++) {
            lent.put(i, UNTOUCHED);
        }
        try (VideoTxChannel channel = new VideoTxChannel(pool)) {
            pool.addUsedBuffer(lent, 0);
            pool.clear();
            Check.that(channel.open(CONFIG), "opens");
            capture(channel, 5);
            Screen.pause(200);
            Check.same(0, pool.pending(), "nothing fits");
            Check.that(pool.abandoned() >= 3, "abandoned buffers are found: " + pool.abandoned());
            Check.same(0L, pool.exhausted(), "so the pool never runs dry");
        }
        for (int i = 0; i < lent.capacity(); i++) {
            Check.same(UNTOUCHED, lent.get(i), "byte " + i);
        }
    }

    private static void capture(VideoTxChannel channel, int frames) {
        for (int i = 0; i < frames; i++) {
            Check.same(0, channel.capture(), "capture");
        }
    }
}
