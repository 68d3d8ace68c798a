package com.tarvoln.zem;

import java.nio.ByteBuffer;

/**
 * One piece of media that the engine delivered: an H.264 access unit, a decoded picture, a packet of
 * audio. It borrows its buffer from a {@link BufferPool}; give it back with
 * {@link BufferPool#release(MediaUnit)} as soon as the bytes are used.
 *
 * @param buffer the pool's direct buffer; its position and limit are not meaningful, see {@link #payload()}
 * @param offset where the payload begins, bytes; the space before it is the application's own
 * @param size payload bytes
 * @param arrivalNanos {@link System#nanoTime()} of the moment at which the engine handed the unit over
 */
public record MediaUnit(ByteBuffer buffer, int offset, int size, long arrivalNanos) {
    /** A fresh view of the payload, from position 0 to its limit. Not valid after the unit is released. */
    public ByteBuffer payload() {
        return buffer.slice(offset, size);
    }
}
