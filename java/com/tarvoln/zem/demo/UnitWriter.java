package com.tarvoln.zem.demo;

import com.tarvoln.zem.BufferPool;
import com.tarvoln.zem.MediaUnit;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.concurrent.TimeUnit;

/**
 * The consumer: writes every unit to a file and sends it to the receiver as it comes, on a thread of its own,
 * and keeps the books.
 * The counters may be read from any thread; the arrival times only after {@link #finish()}.
 */
final class UnitWriter {
    private static final long POLL_MILLIS = 50;

    private final BufferPool pool;
    private final Path path;
    private final FrameTimes times;
    private final ReceiverLink link;
    private final Thread thread = new Thread(this::run, "unit-writer");

    /** Arrival of every unit with a picture, in order. Written by the writer's thread only. */
    private final LongList arrivals = new LongList();

    private volatile int configurations;
    private volatile int pictures;
    private volatile long bytes;
    private volatile boolean stop;
    private volatile IOException failure;

    UnitWriter(BufferPool pool, Path path, FrameTimes times, ReceiverLink link) {
        this.pool = pool;
        this.path = path;
        this.times = times;
        this.link = link;
    }

    void start() {
        thread.start();
    }

    /** Units with a picture in them. */
    int pictures() {
        return pictures;
    }

    /** Units without one: the stream's configuration. */
    int configurations() {
        return configurations;
    }

    long bytes() {
        return bytes;
    }

    /** Waits until {@code wanted} pictures have come, at most {@code limitMillis}. */
    boolean awaitPictures(int wanted, long limitMillis) throws InterruptedException {
        long end = System.nanoTime() + TimeUnit.MILLISECONDS.toNanos(limitMillis);
        while (pictures < wanted && failure == null && System.nanoTime() - end < 0) {
            Thread.sleep(10);
        }
        return pictures >= wanted;
    }

    /** Lets the thread end once it has written what is in the pool. */
    void stop() {
        stop = true;
    }

    /**
     * Waits for the end after {@link #stop()}, or brings it about.
     *
     * @return when each picture arrived, {@link System#nanoTime()}
     * @throws IOException when writing failed at any time
     */
    LongList finish() throws IOException, InterruptedException {
        stop();
        thread.join();
        if (failure != null) {
            throw failure;
        }
        return arrivals;
    }

    private void run() {
        try (FileChannel file = FileChannel.open(path, StandardOpenOption.CREATE,
                StandardOpenOption.TRUNCATE_EXISTING, StandardOpenOption.WRITE)) {
            while (true) {
                boolean last = stop;
                MediaUnit unit = pool.take(last ? 0 : POLL_MILLIS, TimeUnit.MILLISECONDS);
                if (unit != null) {
                    try {
                        write(file, unit);
                    } finally {
                        pool.release(unit);
                    }
                } else if (last) {
                    return;
                }
            }
        } catch (IOException e) {
            failure = e;
        } catch (InterruptedException e) {
            failure = new IOException("interrupted while writing", e);
        }
    }

    private void write(FileChannel file, MediaUnit unit) throws IOException {
        ByteBuffer payload = unit.payload();
        boolean picture = AnnexB.hasPicture(payload);
        link.sendUnit(picture ? pictures : -1, picture ? times.get(pictures) : FrameTimes.UNKNOWN, payload.duplicate());
        while (payload.hasRemaining()) {
            file.write(payload);
        }
        // One writer: a volatile is enough.
        bytes = bytes + unit.size();
        if (picture) {
            arrivals.add(unit.arrivalNanos());
            pictures = pictures + 1;
        } else {
            configurations = configurations + 1;
        }
    }
}
