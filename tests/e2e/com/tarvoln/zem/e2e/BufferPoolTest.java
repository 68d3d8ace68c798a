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
        deliversInOrderBehindTheOffset();
        refusesWhatIsNotLent();
        exhaustsAndRecovers();
        findsBuffersOfTheSameThreadAgain();
        findsBuffersOfEndedThreadsAgain();
    }

    private static void deliversInOrderBehindTheOffset() throws Exception {
        BufferPool pool = new BufferPool(3, 100, 16);
        for (int i = 1; i <= 2; i++) {
            ByteBuffer buffer = pool.getFreeBuffer();
            Check.that(buffer.isDirect(), "direct");
            Check.same(116, buffer.capacity(), "capacity");
            buffer.put(16, (byte) i);
            pool.addUsedBuffer(buffer, 100);
        }
        for (int i = 1; i <= 2; i++) {
            MediaUnit unit = pool.take(0, TimeUnit.SECONDS);
            Check.same((byte) i, unit.payload().get(0), "order");
            Check.same(100, unit.payload().remaining(), "payload");
            pool.release(unit);
        }
        Check.same(null, pool.take(0, TimeUnit.SECONDS), "nothing left");
    }

    private static void refusesWhatIsNotLent() throws Exception {
        BufferPool pool = new BufferPool(2, 10, 0);
        ByteBuffer lent = pool.getFreeBuffer();
        pool.addUsedBuffer(ByteBuffer.allocateDirect(10), 5);
        pool.addUsedBuffer(null, 5);
        pool.addUsedBuffer(lent, 11);
        pool.addUsedBuffer(lent, 5);
        Check.same(0, pool.pending(), "a stranger, null, too many bytes, and a buffer not lent any more");

        pool.addUsedBuffer(pool.getFreeBuffer(), 5);
        MediaUnit unit = pool.take(0, TimeUnit.SECONDS);
        pool.release(unit);
        try {
            pool.release(unit);
            throw new AssertionError("released twice");
        } catch (IllegalStateException expected) {
            Check.that(pool.getFreeBuffer() != null, "the pool goes on");
        }
    }

    private static void exhaustsAndRecovers() throws Exception {
        BufferPool pool = new BufferPool(2, 10, 0);
        for (int i = 0; i < 2; i++) {
            pool.addUsedBuffer(pool.getFreeBuffer(), i);
        }
        Check.same(null, pool.getFreeBuffer(), "none free");
        Check.same(1L, pool.exhausted(), "counted");
        pool.release(pool.take(0, TimeUnit.SECONDS));
        pool.addUsedBuffer(pool.getFreeBuffer(), 2);
        Check.same(1, pool.take(0, TimeUnit.SECONDS).size(), "the oldest first");
        pool.clear();
        Check.same(0, pool.pending(), "dropped");
        Check.that(pool.getFreeBuffer() != null, "and free");
    }

    private static void findsBuffersOfTheSameThreadAgain() {
        BufferPool pool = new BufferPool(1, 10, 0);
        for (int i = 0; i < 5; i++) {
            Check.that(pool.getFreeBuffer() != null, "lent anew, time " + i);
        }
        Check.same(4L, pool.abandoned(), "counted");
    }

    private static void findsBuffersOfEndedThreadsAgain() throws Exception {
        BufferPool pool = new BufferPool(2, 10, 0);
        ByteBuffer[] held = new ByteBuffer[1];
        Thread borrower = new Thread(() -> held[0] = pool.getFreeBuffer());
        borrower.start();
        borrower.join();
        ByteBuffer first = pool.getFreeBuffer();
        Check.that(first != held[0], "a free one is taken first");
        pool.addUsedBuffer(first, 1);
        Check.that(pool.getFreeBuffer() == held[0], "then the one that will not come back");
        Check.same(1L, pool.abandoned(), "counted");
    }
}
