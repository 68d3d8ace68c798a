package com.tarvoln.zem;

import java.nio.ByteBuffer;
import java.util.concurrent.locks.ReentrantLock;
import java.util.function.BooleanSupplier;
import java.util.function.IntSupplier;

/**
 * What the four channels have in common: a {@link BufferPool} that the engine delivers into, and an
 * orderly way to open, use and close.
 *
 * <p>The engine asks the Java side to serialise opening and closing a path against the data calls of the
 * same path. The {@code open} methods, the data methods of the subclasses that are not native
 * ({@link VideoTxChannel#capture()} and so on) and {@link #close()} do that among themselves with one lock
 * a channel. The native methods themselves take no lock: an application that calls them directly
 * serialises for itself.
 *
 * <p>The engine has one of each path in a process. Two channels of the same class at a time share, and
 * fight for, one path; use one.
 *
 * <p>The three pool methods are called by the engine on its own threads, also while {@link #close()} waits
 * for those threads. They share no lock with anything that calls the engine, never block and must never
 * close the channel; an override has to keep to that too.
 */
public abstract class MediaChannel implements AutoCloseable {
    /** What a data method gives when the channel is not open. */
    public static final int NOT_OPEN = -1;

    private final BufferPool pool;

    /** Held around calls into the engine; never taken by the pool methods. */
    private final ReentrantLock engineCalls = new ReentrantLock();

    /** Guarded by engineCalls for writing. */
    private volatile boolean open;

    MediaChannel(BufferPool pool) {
        EngineLibrary.load();
        this.pool = pool;
    }

    /** The pool that the engine delivers into: take filled units from it and give them back. */
    public final BufferPool pool() {
        return pool;
    }

    /** Whether the last {@code open} succeeded and {@link #close()} has not been called since. Any thread. */
    public final boolean isOpen() {
        return open;
    }

    /** For the engine: bytes at the start of every buffer that it leaves alone. Never blocks. */
    public int getBufferOffset() {
        return pool.offset();
    }

    /** For the engine: a direct buffer to fill, or null when none is free. Never blocks. */
    public ByteBuffer getFreeBuffer() {
        return pool.getFreeBuffer();
    }

    /** For the engine: a filled buffer, with {@code size} bytes behind the offset. Never blocks. */
    public void addUsedBuffer(ByteBuffer buffer, int size) {
        pool.addUsedBuffer(buffer, size);
    }

    /**
     * Closes what {@code open} opened, from any thread, any number of times; what was opened by the native
     * methods directly is closed by the native methods. Waits for a data call that is running in
     * another thread, then for the engine to take the codec down: a few hundred milliseconds to about
     * four seconds for a hardware codec. Units that are still inside the codec are dropped; units that
     * wait in the pool stay there and can still be taken.
     */
    @Override
    public final void close() {
        engineCalls.lock();
        try {
            if (open) {
                open = false;
                closeEngine();
            }
        } finally {
            engineCalls.unlock();
        }
    }

    /** The native close of this path; releases the engine's hold on this object too. */
    abstract void closeEngine();

    /** Closes what is open, runs the native open, and cleans up after it when it fails. */
    final boolean openEngine(BooleanSupplier nativeOpen) {
        engineCalls.lock();
        try {
            close();
            open = nativeOpen.getAsBoolean();
            if (!open) {
                closeEngine();
            }
            return open;
        } finally {
            engineCalls.unlock();
        }
    }

    /** Runs one data call unless the channel is closed, in which case the result is {@link #NOT_OPEN}. */
    final int whileOpen(IntSupplier nativeCall) {
        engineCalls.lock();
        try {
            return open ? nativeCall.getAsInt() : NOT_OPEN;
        } finally {
            engineCalls.unlock();
        }
    }
}
