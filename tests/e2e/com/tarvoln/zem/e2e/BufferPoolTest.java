package com.tarvoln.zem.e2e;

import com.tarvoln.zem.BufferPool;
import com.tarvoln.zem.MediaUnit;
import java.nio.ByteBuffer;
import java.util.concurrent.TimeUnit;

/**
 * Proves that a buffer has one owner at any time and none is ever lost. Would catch a buffer told from
 * another by its contents (all new buffers are equal), a unit released twice handing one buffer to two
 * owners, and a pool that runs dry because the engine gave deliveries up.
 */
public final class BufferPoolTest {
    public static void main(String[] args) throws Exception {
        circle();
        refusals();
    }

    /** Lent, filled, taken in order and free again, until all are in use. */
    private static void circle() throws Exception {
        BufferPool pool = new BufferPool(2, 100, 16);
        for (int i = 0; i < 2; i++) {
            ByteBuffer buffer = pool.getFreeBuffer();
            Check.that(buffer.isDirect() && buffer.capacity() == 116, "direct, and as large as it has to be");
            buffer.put(16, (byte) i);
            pool.addUsedBuffer(buffer, 100);
        }
        Check.same(null, pool.getFreeBuffer(), "none free");
        Check.same(1L, pool.exhausted(), "counted");
        MediaUnit unit = pool.take(0, TimeUnit.SECONDS);
        Check.same((byte) 0, unit.payload().get(0), "the oldest first");
        Check.same(100, unit.payload().remaining(), "payload");
        pool.release(unit);
        pool.clear();
        Check.same(0, pool.pending(), "the other one is dropped");
        pool.addUsedBuffer(pool.getFreeBuffer(), 1);
        Check.that(pool.getFreeBuffer() != null, "both were free");
    }

    private static void refusals() throws Exception {
        BufferPool pool = new BufferPool(2, 10, 0);
        ByteBuffer lent = pool.getFreeBuffer();
        Check.that(pool.getFreeBuffer() == lent, "a thread that comes again has given the delivery up");
        pool.addUsedBuffer(ByteBuffer.allocateDirect(10), 5);
        pool.addUsedBuffer(null, 5);
        pool.addUsedBuffer(lent, 11);
        pool.addUsedBuffer(lent, 5);
        Check.same(0, pool.pending(), "a stranger, null, too many bytes, and a buffer not lent any more");
        pool.addUsedBuffer(pool.getFreeBuffer(), 5);
        MediaUnit unit = pool.take(0, TimeUnit.SECONDS);
        pool.release(unit);
        for (int i = 0; i < 2; i++) { // the engine's are a thread a delivery
            Thread thread = new Thread(pool::getFreeBuffer);
            thread.start();
            thread.join();
        }
        Check.that(pool.getFreeBuffer() != null, "a thread that has ended gave the delivery up");
        Check.same(2L, pool.abandoned(), "counted, as the first one");
        Check.same(0L, pool.exhausted(), "so the pool never runs dry");
        try {
            pool.release(unit);
        } catch (IllegalStateException expected) {
            return;
        }
        throw new AssertionError("released twice");
    }
}
