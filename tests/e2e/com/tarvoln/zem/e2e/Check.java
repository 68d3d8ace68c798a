package com.tarvoln.zem.e2e;

import java.util.Objects;

/** Assertions that do not need to be switched on. */
final class Check {
    private Check() {}

    static void that(boolean holds, String what) {
        if (!holds) {
            throw new AssertionError(what);
        }
    }

    static void same(Object expected, Object got, String what) {
        if (!Objects.equals(expected, got)) {
            throw new AssertionError(what + ": expected " + expected + ", got " + got);
        }
    }

    /** Both bounds included. */
    static void between(long low, long high, long got, String what) {
        if (got < low || got > high) {
            throw new AssertionError(what + ": expected " + low + " to " + high + ", got " + got);
        }
    }

    static void joined(Thread thread, long limitMillis) throws InterruptedException {
        thread.join(limitMillis);
        if (thread.isAlive()) {
            AssertionError error = new AssertionError(thread.getName() + " still runs; it stands at:");
            error.setStackTrace(thread.getStackTrace());
            throw error;
        }
    }
}
