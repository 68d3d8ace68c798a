package com.tarvoln.zem;

import java.nio.ByteBuffer;
import java.util.concurrent.LinkedTransferQueue;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicLong;
import java.util.concurrent.atomic.AtomicReference;

/**
 * A fixed set of direct buffers that travel in a circle: free, borrowed by the engine, filled and queued,
 * taken by a consumer, free again.
 *
 * <p>The engine's side ({@link #getFreeBuffer()}, {@link #addUsedBuffer(ByteBuffer, int)}) runs on threads
 * of the engine, possibly while another thread of the application is closing the channel and waits for
 * just those threads to end. It therefore takes no lock and waits for nothing.
 *
 * <p>When no buffer is free, what the engine has to deliver is dropped and counted in
 * {@link #exhausted()}; nothing waits and nothing grows. Of an H.264 stream every picture up to the next
 * key frame then decodes badly, so a consumer should rather take promptly and have buffers to spare.
 *
 * <p>The engine may borrow a buffer and never give it back: it does so when the data turn out not to
 * fit. Such a buffer is found again when the thread that borrowed it asks for another one or has ended,
 * and is counted in {@link #abandoned()}.
 */
public final class BufferPool {
    /** Owner of a buffer that is filled and waits in the queue. */
    private static final Object QUEUED = new Object();

    /** Owner of a buffer that a consumer has. */
    private static final Object TAKEN = new Object();

    private final Slot[] slots;
    private final int capacity;
    private final int offset;
    private final LinkedTransferQueue<MediaUnit> filled = new LinkedTransferQueue<>();
    private final AtomicLong exhausted = new AtomicLong();
    private final AtomicLong abandoned = new AtomicLong();

    /** A buffer and who has it: null when free, the borrowing thread, {@link #QUEUED} or {@link #TAKEN}. */
    private static final class Slot {
        final ByteBuffer buffer;
        final AtomicReference<Object> owner = new AtomicReference<>();

        Slot(int bytes) {
            buffer = ByteBuffer.allocateDirect(bytes);
        }
    }

    /**
     * Allocates all buffers at once.
     *
     * @param count number of buffers, 1 or more
     * @param capacity bytes of payload that each can take, 1 or more
     * @param offset bytes at the start of each buffer that the engine leaves to the application (room
     *     for a packet header, say), 0 or more
     * @throws IllegalArgumentException for values out of range
     */
    public BufferPool(int count, int capacity, int offset) {
        if (count < 1 || capacity < 1 || offset < 0 || offset > Integer.MAX_VALUE - capacity) {
            throw new IllegalArgumentException(
                    "count " + count + ", capacity " + capacity + ", offset " + offset);
        }
        this.capacity = capacity;
        this.offset = offset;
        slots = new Slot[count];
        for (int i = 0; i < count; i++) {
            slots[i] = new Slot(offset + capacity);
        }
    }

    /** Bytes at the start of each buffer that belong to the application. */
    public int offset() {
        return offset;
    }

    /** Number of buffers. */
    public int count() {
        return slots.length;
    }

    /** How often the engine asked for a buffer and none was free; each time a unit was dropped. */
    public long exhausted() {
        return exhausted.get();
    }

    /** How many borrowed buffers the engine never gave back; each time a unit was dropped. */
    public long abandoned() {
        return abandoned.get();
    }

    /** How many filled units wait to be taken. */
    public int pending() {
        return filled.size();
    }

    /**
     * Lends a buffer to the calling thread. For the engine; any thread, never blocks.
     *
     * @return a direct buffer, or null when none is free
     */
    public ByteBuffer getFreeBuffer() {
        Thread caller = Thread.currentThread();
        ByteBuffer buffer = reclaimFrom(caller);
        if (buffer == null) {
            buffer = claimFree(caller);
        }
        if (buffer == null) {
            buffer = claimFromEndedThread(caller);
        }
        if (buffer == null) {
            exhausted.incrementAndGet();
        }
        return buffer;
    }

    /**
     * Takes back a lent buffer with {@code size} bytes of payload behind the offset. For the engine; the
     * thread that borrowed the buffer, never blocks. A buffer that the calling thread does not have on
     * loan is ignored; one with an impossible size becomes free again without being queued.
     */
    public void addUsedBuffer(ByteBuffer buffer, int size) {
        long now = System.nanoTime();
        Slot slot = slotOf(buffer);
        if (slot == null) {
            return;
        }
        boolean possible = size >= 0 && size <= capacity;
        if (slot.owner.compareAndSet(Thread.currentThread(), possible ? QUEUED : null) && possible) {
            filled.put(new MediaUnit(buffer, offset, size, now));
        }
    }

    /**
     * Waits for the next unit, in the order of delivery.
     *
     * @param timeout longest wait; 0 or less only looks
     * @return the unit, or null when none came in time
     * @throws InterruptedException when the waiting thread is interrupted
     */
    public MediaUnit take(long timeout, TimeUnit unit) throws InterruptedException {
        MediaUnit next = filled.poll(timeout, unit);
        if (next != null) {
            slotOf(next.buffer()).owner.set(TAKEN);
        }
        return next;
    }

    /**
     * Makes a taken unit's buffer free again. Any thread; giving a unit back twice is a mistake of the
     * application's that could hand one buffer to two owners, so the second time is refused.
     *
     * @throws IllegalStateException when the unit is not a taken unit of this pool
     */
    public void release(MediaUnit unit) {
        Slot slot = slotOf(unit.buffer());
        if (slot == null || !slot.owner.compareAndSet(TAKEN, null)) {
            throw new IllegalStateException("not a taken unit of this pool");
        }
    }

    /** Drops all filled units that nobody has taken yet. */
    public void clear() {
        for (MediaUnit unit = filled.poll(); unit != null; unit = filled.poll()) {
            slotOf(unit.buffer()).owner.set(null);
        }
    }

    /** The buffer that the caller still holds from a delivery that was given up: it is lent anew. */
    private ByteBuffer reclaimFrom(Thread caller) {
        for (Slot slot : slots) {
            if (slot.owner.get() == caller) {
                abandoned.incrementAndGet();
                return slot.buffer;
            }
        }
        return null;
    }

    private ByteBuffer claimFree(Thread caller) {
        for (Slot slot : slots) {
            if (slot.owner.compareAndSet(null, caller)) {
                return slot.buffer;
            }
        }
        return null;
    }

    /**
     * Engine threads are attached to the JVM for one delivery at a time and are a new {@link Thread}
     * each time, so a borrower that is no longer alive will not come back.
     */
    private ByteBuffer claimFromEndedThread(Thread caller) {
        for (Slot slot : slots) {
            if (slot.owner.get() instanceof Thread borrower
                    && !borrower.isAlive()
                    && slot.owner.compareAndSet(borrower, caller)) {
                abandoned.incrementAndGet();
                return slot.buffer;
            }
        }
        return null;
    }

    /** By identity: buffers with equal contents are equal to each other. */
    private Slot slotOf(ByteBuffer buffer) {
        for (Slot slot : slots) {
            if (slot.buffer == buffer) {
                return slot;
            }
        }
        return null;
    }
}
