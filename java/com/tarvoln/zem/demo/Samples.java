package com.tarvoln.zem.demo;

import java.util.Locale;

/** Durations, and the two figures that describe them. Not thread-safe. */
final class Samples {
    private static final double NANOS_PER_MILLI = 1e6;

    private final LongList nanos = new LongList();

    void add(long durationNanos) {
        nanos.add(durationNanos);
    }

    int count() {
        return nanos.size();
    }

    /**
     * The p-th percentile in milliseconds: the smallest sample that at least p percent do not exceed; 0
     * without any.
     */
    double percentile(int p) {
        if (count() == 0) {
            return 0;
        }
        long[] sorted = nanos.sorted();
        int rank = (int) Math.ceil(sorted.length * p / 100.0);
        return sorted[Math.max(rank, 1) - 1] / NANOS_PER_MILLI;
    }

    /** {@code {"p50": 1.234, "p95": 2.345}}, or {@code null} without samples. */
    String json() {
        return count() == 0
                ? "null"
                : String.format(Locale.ROOT, "{\"p50\": %.3f, \"p95\": %.3f}", percentile(50), percentile(95));
    }
}
