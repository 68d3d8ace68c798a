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
 * Tells how near the received pictures are to the sender's screen, by a sample now and then and by the last frame:
 * the captured screen, put through the colour arithmetic of both ends, against the picture of the same frame.
 *
 * <p>What lowers the figure is the codec alone: the pictures are, word for word, a lossless conversion of what any
 * decoder makes of the stream. A still screen comes to 55 dB and more. Coloured text that scrolls by a line a frame
 * takes more than the 4 Mbit/s of a 720p session: luma and chroma come to 29 dB, of which the conversion, with
 * factors of up to 1.8, makes 24 or 25. At ten times the rate it is 42. A neighbouring frame's screen gives 15.
 */
final class Quality {
    /** Given for pictures that are equal: of two different ones it cannot be reached. */
    private static final double EQUAL_DB = 100;

    /** A screen that came before its picture waits so long, and the other way round so many wait. */
    private static final long WAIT_MILLIS = 2000;
    private static final int MOST_WAITING = 3;

    private record Waiting(int ordinal, int frame, DecodedPicture picture) {}

    private record Result(int ordinal, int frame, double squares, long components) {}

    private final Wire wire;
    private final ColorRoute route;
    private final Thread thread = new Thread(this::run, "quality");
    private final Map<Integer, Waiting> waiting = new HashMap<>(); // guarded by this, as the next
    private Waiting latest;
    private final List<Result> results = new ArrayList<>(); // of the thread, until it has ended, as the next
    private Message last;

    /** Reads samples from the connection until that ends. */
    Quality(Wire wire, ColorRoute route) {
        this.wire = wire;
        this.route = route;
        thread.setDaemon(true);
        thread.start();
    }

    /** The {@code ordinal}-th picture has come; it should show this frame. */
    synchronized void decoded(int ordinal, int frame, DecodedPicture picture) {
        latest = new Waiting(ordinal, frame, picture);
        if (Sampler.isSample(frame)) {
            if (waiting.size() == MOST_WAITING) {
                waiting.clear(); // their screens were not sent
            }
            waiting.put(frame, latest);
        }
        notifyAll();
    }

    /** Peak signal to noise of all samples, in dB; {@code null} in JSON's words when there are none. */
    String psnr(PictureBook book) throws IOException, InterruptedException {
        thread.join(WAIT_MILLIS); // the sender has ended the connection by now, or is in trouble
        wire.close();
        thread.join();
        // The last screen is that of the last picture also where the others could be told too late.
        measure(last, latest);
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
                last = wire.receive();
                if (Sampler.isSample(last.number())) {
                    measure(last, await(last.number()));
                }
            }
        } catch (IOException | InterruptedException e) {
            // The connection's end; the other one tells whether it is the session's.
        }
    }

    /** Null when it has not come in time, or a later one has: they come in order. */
    private synchronized Waiting await(int frame) throws InterruptedException {
        long end = System.currentTimeMillis() + WAIT_MILLIS;
        while (!waiting.containsKey(frame) && (latest == null || latest.frame() < frame)
                && System.currentTimeMillis() < end) {
            wait(WAIT_MILLIS / 20);
        }
        return waiting.remove(frame);
    }

    private void measure(Message sample, Waiting decoded) {
        if (sample == null || decoded == null) {
            return;
        }
        DecodedPicture picture = decoded.picture();
        if (sample.nanos() != ((long) picture.width() << 32 | picture.height())
                || sample.payload().length != picture.width() * picture.height() * 4) {
            return; // of another size
        }
        short[] words = picture.words();
        short[][] expected =
                route.bothPictures(ByteBuffer.wrap(sample.payload()), picture.width(), picture.height());
        double squares = 0;
        for (int i = 0; i < words.length; i++) {
            squares += Math.min(squares(expected[0][i], words[i]), squares(expected[1][i], words[i]));
        }
        results.add(new Result(decoded.ordinal(), sample.number(), squares, 3L * words.length));
    }

    private static int squares(short expected, short got) {
        int a = DecodedPicture.rgb(expected);
        int b = DecodedPicture.rgb(got);
        int sum = 0;
        for (int shift = 0; shift <= 16; shift += 8) {
            int difference = (a >> shift & 0xFF) - (b >> shift & 0xFF);
            sum += difference * difference;
        }
        return sum;
    }
}
