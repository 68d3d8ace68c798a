package com.tarvoln.zem.demo;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Locale;
import java.util.Map;
import java.util.concurrent.TimeUnit;

/**
 * Decodes an H.264 file through the engine and writes its pictures. Started by scripts/demo --play, which
 * explains the options.
 *
 * <p>For streams as a sender sends them: the pictures in the order of their units. The last pictures of a
 * stream with reordered ones would stay in the decoder.
 */
public final class PlayFile {
    /**
     * After the engine has learned a stream's size from the decoder it drops the next pictures. So that the
     * file's own are not among them the first unit is given again until a picture comes, at most so often.
     */
    private static final int MOST_FIRST_UNITS = 100;

    /** A decoder's delay on a busy machine. */
    private static final long PICTURE_MILLIS = 2000;

    /** For a first unit, which is given again without a picture; a fifth from the second time on. */
    private static final long FIRST_MILLIS = 500;

    /**
     * No further picture of the first unit, given so often, is to be expected after this, or after half the time
     * that its first one took, on a busy machine.
     */
    private static final long QUIET_MILLIS = 500;

    private final Path folder;
    private IOException failure; // guarded by this, as all that follows
    private int came;
    private int written;
    private boolean joining;
    private DecodedPicture joined;

    private PlayFile(Path folder) {
        this.folder = folder;
    }

    public static void main(String[] args) {
        try {
            Map<String, String> options = Options.pairs(args);
            Path folder = Path.of(Options.text(options, "--out")).resolve("played");
            Files.createDirectories(folder);
            new PlayFile(folder).play(Path.of(Options.text(options, "--file")));
        } catch (IOException | InterruptedException | UnsatisfiedLinkError e) {
            System.err.println("demo: " + e.getMessage());
            System.exit(1);
        }
    }

    private void play(Path file) throws IOException, InterruptedException {
        int units = 0;
        int pictureless = 0;
        try (StreamDecoder decoder = new StreamDecoder(this::take)) {
            SequenceHeader.Size size = null;
            for (byte[] unit : AnnexB.accessUnits(Files.readAllBytes(file))) {
                units++;
                boolean begins = !isCurrent(SequenceHeader.sizeIn(unit), size);
                if (begins) {
                    decoder.finish(); // its last pictures come before the next one's first
                }
                boolean came = begins ? decodeFirst(decoder, unit) : decodeOne(decoder, unit, PICTURE_MILLIS);
                size = decoder.size();
                pictureless += came ? 0 : 1;
                throwFailure();
            }
        }
        System.out.println(written() + " pictures of " + units + " units");
        if (written() == 0) {
            throw new IOException("no picture came of " + file);
        }
        if (pictureless > 0) {
            System.err.println("demo: warning: " + pictureless + " units gave no picture");
        }
    }

    private static boolean isCurrent(SequenceHeader.Size told, SequenceHeader.Size size) {
        return size != null && (told == null || told.equals(size));
    }

    /** All pictures until the decoder is quiet are this unit's; one of them is written. */
    private boolean decodeFirst(StreamDecoder decoder, byte[] unit) throws InterruptedException {
        join(true);
        long begun = System.nanoTime();
        boolean first = false;
        for (int i = 0; i < MOST_FIRST_UNITS && !first; i++) {
            first = decodeOne(decoder, unit, i == 0 ? FIRST_MILLIS : FIRST_MILLIS / 5);
            if (decoder.size() == null) {
                break; // no configuration yet
            }
        }
        long quiet = Math.max(QUIET_MILLIS, TimeUnit.NANOSECONDS.toMillis(System.nanoTime() - begun) / 2);
        while (first && awaitMore(came(), quiet)) {
            // one more of it
        }
        join(false);
        return first;
    }

    private void join(boolean begin) {
        DecodedPicture picture;
        synchronized (this) {
            picture = begin ? null : joined;
            joining = begin;
            joined = null;
        }
        if (picture != null) {
            write(picture);
        }
    }

    /** Gives the decoder one unit and waits for its picture to be written. */
    private boolean decodeOne(StreamDecoder decoder, byte[] unit, long limitMillis) throws InterruptedException {
        int before = came();
        decoder.decode(unit);
        return decoder.size() != null && awaitMore(before, limitMillis);
    }

    private synchronized int came() {
        return came;
    }

    private synchronized int written() {
        return written;
    }

    private synchronized boolean awaitMore(int before, long limitMillis) throws InterruptedException {
        long end = System.nanoTime() + TimeUnit.MILLISECONDS.toNanos(limitMillis);
        while (came == before && failure == null && System.nanoTime() - end < 0) {
            wait(10);
        }
        return came > before;
    }

    private synchronized void throwFailure() throws IOException {
        if (failure != null) {
            throw failure;
        }
    }

    /** On the decoder's thread for pictures; counts the picture when it is written. */
    private void take(DecodedPicture picture) {
        boolean later;
        synchronized (this) {
            later = joining;
            joined = later ? picture : null;
        }
        if (!later) {
            write(picture);
        }
        synchronized (this) {
            came++;
            notifyAll();
        }
    }

    private void write(DecodedPicture picture) {
        IOException thrown = null;
        try {
            picture.writePng(folder.resolve(String.format(Locale.ROOT, "%04d.png", written() + 1)));
        } catch (IOException e) {
            thrown = e;
        }
        synchronized (this) {
            failure = failure == null ? thrown : failure;
            written += thrown == null ? 1 : 0;
        }
    }
}
