package com.tarvoln.zem.e2e;

import com.tarvoln.zem.VideoTxChannel;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.concurrent.atomic.AtomicInteger;

/**
 * Proves that a session can be closed at any moment of its work: while one thread captures and another
 * consumes, and without a consumer. Would catch a deadlock between closing and a delivery that is under
 * way, a lost wake-up at teardown, and a session freed under a running capture.
 */
public final class CloseUnderLoadTest {
    private static final int ROUNDS = 6;

    /** Far more than the 3 s and some that the engine waits by design: who takes longer hangs. */
    private static final long LIMIT_MILLIS = 60_000;

    private static final VideoTxChannel.Config CONFIG = VideoTxChannel.Config.screen(640, 360);

    public static void main(String[] args) throws Exception {
        for (int round = 0; round < ROUNDS; round++) {
            round(round, round % 2 == 0);
        }
    }

    private static void round(int round, boolean consumed) throws Exception {
        VideoTxChannel channel = new VideoTxChannel(CONFIG.pool());
        Check.that(channel.open(CONFIG), "opens in round " + round);
        AtomicBoolean stop = new AtomicBoolean();
        AtomicInteger captured = new AtomicInteger();
        Thread capturer = new Thread(() -> {
            while (!stop.get()) {
                // Also through the bare native method, as an application that forgets to serialise would.
                int result = round < ROUNDS / 2 ? channel.capture() : channel.captureScreen(true);
                if (result == 0) {
                    captured.incrementAndGet();
                } else {
                    Screen.pause(5); // closed, or about to be
                }
            }
        }, "capturer");
        Thread closer = new Thread(channel::close, "closer");
        capturer.start();
        Recording recording = new Recording(channel.pool());
        while (captured.get() <= 3 * round) {
            if (consumed) {
                recording.takeFor(10);
            }
            Screen.pause(1);
        }
        closer.start();
        while (consumed && closer.isAlive()) {
            recording.takeFor(10);
        }
        Check.joined(closer, LIMIT_MILLIS);
        stop.set(true);
        Check.joined(capturer, LIMIT_MILLIS);
        Check.same(-1, channel.captureScreen(true), "closed");
        Check.same(VideoTxChannel.NOT_OPEN, channel.capture(), "closed");
        channel.close();
    }
}
