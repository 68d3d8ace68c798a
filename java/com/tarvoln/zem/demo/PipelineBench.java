package com.tarvoln.zem.demo;

import com.tarvoln.zem.BufferPool;
import com.tarvoln.zem.MediaUnit;
import com.tarvoln.zem.VideoTxChannel;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.Locale;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.locks.LockSupport;

/**
 * What a session costs that does nothing but send: the screen is captured and encoded, units go to a file as they
 * come. Started by bench/pipeline.sh, with width, height, bits a second, seconds and the file; prints the figures
 * as lines that bench_report reads.
 */
public final class PipelineBench {
    private static final int FPS = 30;
    private static final int KEY_INTERVAL = 60;

    /** By then Java has compiled what it will. */
    private static final int MOST_WARM_UP = 10 * FPS;

    private final VideoTxChannel.Config config;
    private final VideoTxChannel channel;
    private final LongList starts = new LongList();
    private final LongList arrivals = new LongList(); // the writer's until it has ended
    private volatile boolean over;

    // What measure() found, for report().
    private int warmUp; // frames
    private int frames;
    private double seconds; // that the frames took
    private Map<String, Long> session; // CPU nanoseconds
    private double captureMillis;

    private PipelineBench(VideoTxChannel.Config config) {
        this.config = config;
        channel = new VideoTxChannel(config.pool());
    }

    public static void main(String[] args) throws IOException, InterruptedException {
        VideoTxChannel.Config config = new VideoTxChannel.Config(Integer.parseInt(args[0]), Integer.parseInt(args[1]),
                Integer.parseInt(args[2]), FPS, KEY_INTERVAL, VideoTxChannel.RATE_VARIABLE);
        // A thread of its own, that its time is told from the VM's.
        PipelineBench bench = new PipelineBench(config);
        IOException[] failure = {null};
        Thread thread = new Thread(() -> {
            try {
                bench.run(Integer.parseInt(args[3]) * FPS, Path.of(args[4]));
            } catch (IOException e) {
                failure[0] = e;
            } catch (InterruptedException e) {
                failure[0] = new IOException(e);
            }
        }, "capture");
        thread.start();
        thread.join();
        if (failure[0] != null) {
            throw failure[0];
        }
    }

    private void run(int frames, Path stream) throws IOException, InterruptedException {
        if (!channel.open(config)) {
            throw new IOException("the session does not open");
        }
        IOException[] failure = {null};
        Thread writer = new Thread(() -> failure[0] = write(stream), "writer");
        writer.start();
        try {
            measure(frames);
        } finally {
            channel.close();
            over = true;
            writer.join();
        }
        if (failure[0] != null) {
            throw failure[0];
        }
        report();
    }

    private void measure(int wanted) throws IOException {
        frames = wanted;
        warmUp = Math.min(frames, MOST_WARM_UP);
        capture(warmUp, true);
        Map<String, Long> before = threadNanos();
        long begin = System.nanoTime();
        capture(frames, true);
        seconds = (System.nanoTime() - begin) / 1e9;
        session = since(before);
        before = threadNanos();
        int looks = Math.max(frames / 4, 1);
        capture(looks, false);
        captureMillis = since(before).get("capture") / 1e6 / looks;
    }

    /** One frame after the other at the session's rate; without {@code encode} they are only captured. */
    private void capture(int frames, boolean encode) throws IOException {
        long due = System.nanoTime();
        for (int i = 0; i < frames; i++) {
            long start = System.nanoTime();
            if ((encode ? channel.capture() : channel.captureScreen(false)) != 0) {
                throw new IOException("a frame is refused");
            }
            if (encode) {
                starts.add(start);
            }
            due = Math.max(due + TimeUnit.SECONDS.toNanos(1) / FPS, start);
            for (long left = due - System.nanoTime(); left > 0; left = due - System.nanoTime()) {
                LockSupport.parkNanos(left);
            }
        }
    }

    /** The application's other thread: takes units and writes them down. */
    private IOException write(Path stream) {
        BufferPool pool = channel.pool();
        try (FileChannel file = FileChannel.open(stream, StandardOpenOption.CREATE, StandardOpenOption.WRITE)) {
            while (true) {
                boolean last = over;
                MediaUnit unit = pool.take(last ? 0 : 50, TimeUnit.MILLISECONDS);
                if (unit != null) {
                    ByteBuffer payload = unit.payload();
                    if (AnnexB.hasPicture(payload)) {
                        arrivals.add(unit.arrivalNanos());
                    }
                    file.write(payload);
                    pool.release(unit);
                } else if (last) {
                    return null;
                }
            }
        } catch (IOException e) {
            return e;
        } catch (InterruptedException e) {
            return new IOException(e);
        }
    }

    private void report() throws IOException {
        // Opening encodes a picture of its own, which comes first.
        int extra = arrivals.size() - starts.size();
        if (extra < 0 || extra > 1) {
            throw new IOException(starts.size() + " frames were captured, " + arrivals.size() + " arrived");
        }
        Samples latency = new Samples();
        for (int i = warmUp; i < starts.size(); i++) {
            latency.add(arrivals.get(i + extra) - starts.get(i));
        }
        double engine = 0;
        double process = 0;
        for (Map.Entry<String, Long> thread : session.entrySet()) {
            double millis = thread.getValue() / 1e6 / frames;
            process += millis;
            engine += thread.getKey().matches("capture|omx") ? millis : 0;
        }
        figure("capture_ms", captureMillis, "ms");
        figure("without encoder_ms", engine, "ms");
        figure("encoder_ms", session.get("encoder") / 1e6 / frames, "ms");
        figure("process_ms", process, "ms");
        figure("latency p50 (ms)", latency.percentile(50), "ms");
        figure("latency p95 (ms)", latency.percentile(95), "ms");
        figure("frames a second", frames / seconds, "fps");
    }

    private static void figure(String name, double value, String unit) {
        System.out.printf(Locale.ROOT, "pipeline\tengine: X11 to H.264 in Java\t%s\t%.3f\t%s%n", name, value, unit);
    }

    /** CPU time that each kind of thread has used, by the kernel's count. */
    private static Map<String, Long> threadNanos() throws IOException {
        Map<String, Long> nanos = new TreeMap<>(Map.of("capture", 0L, "encoder", 0L, "omx", 0L, "other", 0L));
        try (DirectoryStream<Path> tasks = Files.newDirectoryStream(Path.of("/proc/self/task"))) {
            for (Path task : tasks) {
                String name = Files.readString(task.resolve("comm")).strip();
                String used = Files.readString(task.resolve("schedstat")).split(" ")[0];
                nanos.merge(kindOf(name), Long.valueOf(used), Long::sum);
            }
        } catch (NoSuchFileException e) {
            return threadNanos();
        }
        return nanos;
    }

    /** The component's worker thread does nothing but encode. */
    private static String kindOf(String thread) {
        if (thread.startsWith("omx-work")) {
            return "encoder";
        }
        return thread.startsWith("omx-") ? "omx" : thread.equals("capture") ? "capture" : "other";
    }

    private static Map<String, Long> since(Map<String, Long> before) throws IOException {
        Map<String, Long> nanos = threadNanos();
        nanos.replaceAll((kind, now) -> now - before.get(kind));
        return nanos;
    }
}
