package com.tarvoln.zem.demo;

import java.util.Arrays;

/** A growing list of times or durations. Not thread-safe. */
final class LongList {
    private long[] values = new long[512];
    private int size;

    void add(long value) {
        if (size == values.length) {
            values = Arrays.copyOf(values, 2 * size);
        }
        values[size++] = value;
    }

    void removeLast() {
        size--;
    }

    long get(int index) {
        return values[index];
    }

    long[] sorted() {
        long[] copy = Arrays.copyOf(values, size);
        Arrays.sort(copy);
        return copy;
    }

    int size() {
        return size;
    }
}
