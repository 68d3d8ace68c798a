package com.tarvoln.zem.demo;

import com.tarvoln.zem.demo.Wire.Message;
import com.tarvoln.zem.demo.Wire.Type;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.util.concurrent.TimeUnit;

/**
 * The sender's hold on the receiver. Units go out as they come; how far the receiver is behind is known from
 * what it says it has taken, and the sender captures nothing new while that is too far. So no queue on the
 * way grows, the delay stays short, and no unit has to be dropped, which would spoil the pictures after it.
 */
final class ReceiverLink implements AutoCloseable {
    /** One unit in the decoder, a few on the way. */
    private static final int MOST_BEHIND = 6;

    /** A decoder that takes nothing for so long has hung. */
    private static final long STALL_MILLIS = 10_000;

    /** Decoding what is on the way, closing the decoder (about 4 s), writing the pictures. */
    private static final long REPORT_MILLIS = 25_000;

    private final Wire wire;
    private final Thread reader = new Thread(this::read, "receiver-link");
    private int sent; // guarded by this, as all that follows
    private int taken;
    private boolean over;
    private String report;
    private String failure;

    ReceiverLink(int port, String chip) throws IOException {
        wire = Wire.toLoopback(port);
        wire.send(Type.HELLO, chip);
        reader.setDaemon(true);
        reader.start();
    }

    void sendHeader(byte[] header) throws IOException {
        wire.send(Type.HEADER, 0, 0, ByteBuffer.wrap(header));
    }

    /** Sends a unit; number -1 when it has no picture. Does nothing once the receiver is gone. */
    void sendUnit(int number, long captureNanos, ByteBuffer payload) {
        synchronized (this) {
            sent++;
        }
        attempt(() -> wire.send(Type.UNIT, number, captureNanos, payload));
    }

    /** Waits until the receiver is near enough behind; gives null, or why capturing has no point. */
    synchronized String awaitRoom() throws InterruptedException {
        long end = System.nanoTime() + TimeUnit.MILLISECONDS.toNanos(STALL_MILLIS);
        while (failure == null && !over && sent - taken > MOST_BEHIND) {
            if (!waitUntil(end)) {
                failure = "the receiver has taken nothing for " + STALL_MILLIS / 1000 + " s";
            }
        }
        return failure;
    }

    /** No more units. */
    void sendEnd() {
        attempt(() -> wire.send(Type.END, 0));
    }

    /** Waits for what the receiver has to say after the end. Null when it does not say it. */
    synchronized String awaitReport() throws InterruptedException {
        long end = System.nanoTime() + TimeUnit.MILLISECONDS.toNanos(REPORT_MILLIS);
        while (!over && failure == null) {
            if (!waitUntil(end)) {
                failure = "the receiver does not report";
            }
        }
        return report;
    }

    /** What went wrong at the other end or on the way, or null. */
    synchronized String failure() {
        return failure;
    }

    @Override
    public void close() throws IOException {
        wire.close();
    }

    private interface Sending {
        void run() throws IOException;
    }

    private void attempt(Sending sending) {
        synchronized (this) {
            if (failure != null || over) {
                return;
            }
        }
        try {
            sending.run();
        } catch (IOException e) {
            fail("the receiver is gone: " + e.getMessage());
        }
    }

    private synchronized void fail(String why) {
        if (failure == null && !over) {
            failure = why;
        }
        notifyAll();
    }

    private synchronized boolean waitUntil(long endNanos) throws InterruptedException {
        long left = TimeUnit.NANOSECONDS.toMillis(endNanos - System.nanoTime());
        if (left <= 0) {
            return false;
        }
        wait(left);
        return true;
    }

    private void read() {
        try {
            while (handle(wire.receive())) {
                // until the report
            }
        } catch (IOException e) {
            fail("the receiver is gone: " + (e.getMessage() == null ? "it has closed the connection" : e.getMessage()));
        }
    }

    private synchronized boolean handle(Message message) throws IOException {
        switch (message.type()) {
            case TAKEN -> taken = message.number();
            case REPORT -> report = message.text();
            case FAILED -> failure = "the receiver gave up: " + message.text();
            default -> throw new IOException("it sends what only a sender sends");
        }
        over = report != null || failure != null;
        notifyAll();
        return !over;
    }
}
