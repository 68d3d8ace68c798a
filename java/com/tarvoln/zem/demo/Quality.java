package com.tarvoln.zem.demo;

import com.tarvoln.zem.demo.Wire.Message;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;

/**
 * Tells how near the received pictures are to the sender's screen, by a sample now and then: the captured
 * screen, put through the colour arithmetic of both ends, against the picture of the same frame.
 */
final class Quality {
    /** Given for pictures that are equal: of two different ones it cannot be reached. */
    private static final double EQUAL_DB = 100;

    /** A screen that came before its picture waits so long, and the other way round so many wait. */
    private static final long WAIT_MILLIS = 2000;
    private static final int MOST_WAITING = 3;

    private record Waiting(int ordinal, DecodedPicture picture) {}

    private record Result(int ordinal, int frame, double squares, long components) {}

    private final Wire wire;
    private final ColorRoute route;
    private final Thread thread = new Thread(this::run, "quality");
    private final Map<Integer, Waiting> waiting = new HashMap<>(); // guarded by this
    private final List<Result> results = new ArrayList<>(); // of the thread, until it has ended

    /** Reads samples from the connection until that ends. */
    Quality(Wire wire, ColorRoute route) {
        this.wire = wire;
        this.route = route;
        thread.setDaemon(true);
        thread.start();
    }

    /** The {@code ordinal}-th picture has come; it should show this frame. */
    synchronized void decoded(int ordinal, int frame, DecodedPicture picture) {
        if (Sampler.isSample(frame)) {
            if (waiting.size() == MOST_WAITING) {
                waiting.clear(); // their screens were not sent
            }
            waiting.put(frame, new Waiting(ordinal, picture));
            notifyAll();
        }
    }

    /** Peak signal to noise of all samples, in dB; {@code null} in JSON's words when there are none. */
    String psnr(PictureBook book) throws IOException, InterruptedException {
        wire.close();
        thread.join();
        double squares = 0;
        long components = 0;
        for (Result result : results) {
            if (book.isSure(result.ordinal(), result.frame())) {
                squares += result.squares();
                components += result.components();
            }
        }
        if (components == 0) {
            return "null";
        }
        double db = squares == 0 ? EQUAL_DB : 10 * Math.log10(255.0 * 255.0 * components / squares);
        return String.format(Locale.ROOT, "%.2f", db);
    }

    private void run() {
        try {
            while (true) {
                Message message = wire.receive();
                int width = (int) (message.nanos() >> 32);
                int height = (int) message.nanos();
                Waiting decoded = await(message.number());
                if (decoded != null && decoded.picture().width() == width && decoded.picture().height() == height
                        && message.payload().length == width * height * 4) {
                    measure(message, decoded);
                }
            }
        } catch (IOException | InterruptedException e) {
            // The connection's end; the other one tells whether it is the session's.
        }
    }

    private synchronized Waiting await(int frame) throws InterruptedException {
        long end = System.currentTimeMillis() + WAIT_MILLIS;
        while (!waiting.containsKey(frame) && System.currentTimeMillis() < end) {
            wait(WAIT_MILLIS / 20);
        }
        return waiting.remove(frame);
    }

    private void measure(Message sample, Waiting decoded) {
        DecodedPicture picture = decoded.picture();
        short[] expected = route.picture(ByteBuffer.wrap(sample.payload()), picture.width(), picture.height());
        double squares = 0;
        for (int i = 0; i < expected.length; i++) {
            int a = DecodedPicture.rgb(expected[i]);
            int b = DecodedPicture.rgb(picture.words()[i]);
            for (int shift = 0; shift <= 16; shift += 8) {
                int difference = (a >> shift & 0xFF) - (b >> shift & 0xFF);
                squares += difference * difference;
            }
        }
        results.add(new Result(decoded.ordinal(), sample.number(), squares, 3L * expected.length));
    }
}
