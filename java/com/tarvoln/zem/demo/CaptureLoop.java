package com.tarvoln.zem.demo;

import com.tarvoln.zem.VideoTxChannel;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.locks.LockSupport;

/**
 * Drives the capture: one frame after the other, at the asked-for rate or as fast as the engine allows
 * when that is slower (it sleeps 30 ms a frame), for a given time.
 */
final class CaptureLoop {
    /** A capture alone is timed once in so many frames: it costs a capture that nobody sees. */
    private static final int FRAMES_PER_CAPTURE_SAMPLE = 15;

    /** So many refused frames in a row mean that the screen is gone. */
    private static final int MOST_REFUSALS = 30;

    /** {@code captureScreen}: the encoder stopped answering. */
    private static final int ENCODER_GONE = -2;

    private final VideoTxChannel channel;
    private final long periodNanos;
    private final Progress progress;
    private final FrameTimes times;
    private final ReceiverLink link;
    private final Sampler sampler;
    private final LongList starts = new LongList();
    private final Samples captureTimes = new Samples();
    private final Samples encodeCallTimes = new Samples();
    private int refusals;
    private long loopNanos;
    private String failure;

    CaptureLoop(VideoTxChannel channel, int fps, Progress progress, FrameTimes times, ReceiverLink link,
            Sampler sampler) {
        this.channel = channel;
        this.progress = progress;
        this.times = times;
        this.link = link;
        this.sampler = sampler;
        periodNanos = TimeUnit.SECONDS.toNanos(1) / fps;
    }

    /** When each accepted frame's capture began, {@link System#nanoTime()}. */
    LongList starts() {
        return starts;
    }

    /** Durations of captures without encoding. */
    Samples captureTimes() {
        return captureTimes;
    }

    /** Durations of whole {@code captureScreen(true)} calls. */
    Samples encodeCallTimes() {
        return encodeCallTimes;
    }

    double seconds() {
        return loopNanos / 1e9;
    }

    /** Why the loop ended early, or null. */
    String failure() {
        return failure;
    }

    /** Frames a second from the first frame's start to the last one's, without opening and closing. */
    double framesPerSecond() {
        int last = starts.size() - 1;
        return last < 1 ? 0 : last * 1e9 / (starts.get(last) - starts.get(0));
    }

    void run(double seconds) throws InterruptedException {
        long begin = System.nanoTime();
        long end = begin + (long) (seconds * 1e9);
        long due = begin;
        for (int frame = 0; System.nanoTime() - end < 0 && failure == null; frame++) {
            if (frame % FRAMES_PER_CAPTURE_SAMPLE == FRAMES_PER_CAPTURE_SAMPLE - 1) {
                timeOneCapture();
            }
            failure = link.awaitRoom();
            if (failure == null) {
                captureOne();
            }
            progress.update(starts.size(), System.nanoTime() - begin);
            // Late frames are not made up for: that would bunch them.
            due = Math.max(due + periodNanos, System.nanoTime() - periodNanos);
            sleepUntil(due);
        }
        loopNanos = System.nanoTime() - begin;
    }

    private void timeOneCapture() {
        long start = System.nanoTime();
        if (channel.captureScreen(false) == 0) {
            captureTimes.add(System.nanoTime() - start);
        }
    }

    private void captureOne() {
        long start = System.nanoTime();
        times.add(start);
        int result = channel.capture();
        if (result == 0) {
            encodeCallTimes.add(System.nanoTime() - start);
            starts.add(start);
            refusals = 0;
            sampler.captured(times.size() - 1, channel);
            return;
        }
        times.removeLast();
        if (result == ENCODER_GONE) {
            failure = "the encoder stopped answering";
        } else if (++refusals == MOST_REFUSALS) {
            failure = "the screen could not be captured or encoded " + refusals + " times in a row";
        }
    }

    private static void sleepUntil(long due) {
        for (long left = due - System.nanoTime(); left > 0; left = due - System.nanoTime()) {
            LockSupport.parkNanos(left);
        }
    }
}
