package com.tarvoln.zem.demo;

import com.tarvoln.zem.VideoTxChannel;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.util.concurrent.SynchronousQueue;
import java.util.concurrent.TimeUnit;

/**
 * Sends the receiver a captured screen once in a while and the last one, for it to tell how good its picture of
 * the same frame is. On a connection and a thread of its own: a screen is a thousand times a unit's size. While one
 * is still on its way the next is left out.
 */
final class Sampler implements AutoCloseable {
    private static final int FRAMES_PER_SAMPLE = 20;

    /** Early in the stream, yet not so early that there is nothing in the picture but its first motion. */
    private static final int FIRST_SAMPLE = 10;

    /** The last screen has so long to go out. */
    private static final long LAST_MILLIS = 3000;

    private record Sample(int frame, ByteBuffer rgba, boolean last) {}

    private final Wire wire;
    private final int width;
    private final int height;
    private final SynchronousQueue<Sample> hand = new SynchronousQueue<>();
    private final Thread thread = new Thread(this::run, "sampler");

    Sampler(int port, VideoTxChannel.Config config) throws IOException {
        wire = Wire.toLoopback(port);
        width = config.width();
        height = config.height();
        thread.setDaemon(true);
        thread.start();
    }

    /** Whether both ends keep this frame. */
    static boolean isSample(int frame) {
        return frame % FRAMES_PER_SAMPLE == FIRST_SAMPLE;
    }

    /** Right after a frame was captured, on the capturing thread: the channel then still has its pixels. */
    void captured(int frame, VideoTxChannel channel) {
        if (isSample(frame)) {
            ScreenPicture picture = ScreenPicture.of(channel, width, height);
            if (picture != null) {
                hand.offer(new Sample(frame, picture.rgba(), false));
            }
        }
    }

    /** Sends the last frame's screen too: a short session may have no other one, and ends the thread. */
    void finish(int frame, VideoTxChannel channel) throws InterruptedException {
        ScreenPicture picture = ScreenPicture.of(channel, width, height);
        if (picture != null
                && hand.offer(new Sample(frame, picture.rgba(), true), LAST_MILLIS, TimeUnit.MILLISECONDS)) {
            thread.join(LAST_MILLIS);
        }
    }

    @Override
    public void close() throws IOException {
        thread.interrupt();
        wire.close();
    }

    private void run() {
        try {
            Sample sample;
            do {
                sample = hand.take();
                wire.send(Wire.Type.SAMPLE, sample.frame(), (long) width << 32 | height, sample.rgba());
            } while (!sample.last());
            wire.close();
        } catch (InterruptedException | IOException e) {
            // The session is over; if it should not be, the other connection says so.
        }
    }
}
