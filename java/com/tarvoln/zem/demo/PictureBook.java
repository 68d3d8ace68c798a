package com.tarvoln.zem.demo;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/**
 * The receiver's books: the units that went into the decoder and the pictures that came out, which frame each
 * shows, and the first and the last of them.
 *
 * <p>A picture does not say which frame it shows. The decoder gives one for every unit, in order, as a rule
 * within the decoding call, so a picture is taken for that of the unit that was fed last. At the end it is
 * also known how many pictures the engine left out, all at the beginning (it drops some after it has learned
 * the size): what contradicts that is not used.
 */
final class PictureBook {
    private final LongList numbers = new LongList(); // guarded by this, as all that follows
    private final LongList captures = new LongList();
    private final LongList feeds = new LongList();
    private final LongList arrivals = new LongList();
    private final LongList guesses = new LongList();
    private DecodedPicture first;
    private DecodedPicture last;

    /** A unit with a picture is about to be decoded. */
    synchronized void fed(int frame, long captureNanos) {
        numbers.add(frame);
        captures.add(captureNanos);
        feeds.add(System.nanoTime());
    }

    /** A picture came; gives the number of the frame that it should show, -1 when none was fed yet. */
    synchronized int decoded(DecodedPicture picture) {
        int unit = feeds.size() - 1;
        while (unit >= 0 && feeds.get(unit) - picture.arrivalNanos() > 0) {
            unit--;
        }
        arrivals.add(picture.arrivalNanos());
        guesses.add(unit);
        first = first == null ? picture : first;
        last = picture;
        return unit < 0 ? -1 : (int) numbers.get(unit);
    }

    synchronized int pictures() {
        return arrivals.size();
    }

    /** Pictures that the engine left out. */
    synchronized int left() {
        return feeds.size() - arrivals.size();
    }

    /** Pictures a second, from the first one's arrival to the last one's. */
    synchronized double framesPerSecond() {
        int end = arrivals.size() - 1;
        return end < 1 ? 0 : end * 1e9 / (arrivals.get(end) - arrivals.get(0));
    }

    /** From the start of each capture to its picture's arrival in the pool. */
    synchronized Samples endToEnd() {
        Samples samples = new Samples();
        for (int picture = 0; picture < arrivals.size(); picture++) {
            int unit = picture + left();
            if (isSure(picture) && captures.get(unit) != FrameTimes.UNKNOWN) {
                samples.add(arrivals.get(picture) - captures.get(unit));
            }
        }
        return samples;
    }

    /** Whether a frame's picture was surely the one that {@link #decoded} took for it. */
    synchronized boolean isSure(int picture, int frame) {
        return isSure(picture) && numbers.get(picture + left()) == frame;
    }

    synchronized SequenceHeader.Size size() {
        return last == null ? new SequenceHeader.Size(0, 0) : new SequenceHeader.Size(last.width(), last.height());
    }

    synchronized void writePictures(Path folder) throws IOException {
        if (first != null) {
            Files.createDirectories(folder);
            first.writePng(folder.resolve("first.png"));
            last.writePng(folder.resolve("last.png"));
        }
    }

    private boolean isSure(int picture) {
        return left() >= 0 && guesses.get(picture) == picture + left();
    }
}
