package com.tarvoln.zem.demo;

/**
 * When each frame's capture began, by the frame's number. The capturing thread notes it before the capture,
 * since the unit can come while that still runs; the thread that sends the units reads. Thread-safe.
 */
final class FrameTimes {
    /** Of a frame whose capture was not seen: the one by which the engine primes its encoder. */
    static final long UNKNOWN = 0;

    private final LongList nanos = new LongList();

    synchronized void add(long startNanos) {
        nanos.add(startNanos);
    }

    /** Takes the last one back: there will be no such frame. */
    synchronized void removeLast() {
        nanos.removeLast();
    }

    synchronized int size() {
        return nanos.size();
    }

    synchronized long get(int frame) {
        return frame < nanos.size() ? nanos.get(frame) : UNKNOWN;
    }
}
