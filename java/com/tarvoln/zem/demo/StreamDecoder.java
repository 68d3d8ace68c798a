package com.tarvoln.zem.demo;

import com.tarvoln.zem.BufferPool;
import com.tarvoln.zem.MediaUnit;
import com.tarvoln.zem.VideoRxChannel;
import java.nio.ByteBuffer;
import java.util.concurrent.TimeUnit;
import java.util.function.Consumer;

/**
 * Decodes one stream through the engine. A decoder keeps the size that it learned first, so one is opened for
 * each size that the stream's configuration names. Pictures go to a listener, on a thread of their own.
 */
final class StreamDecoder implements AutoCloseable {
    /** The listener has this many pictures' time before one is dropped; the pool counts that. */
    private static final int POOL_BUFFERS = 6;

    private static final int POLL_MILLIS = 20;

    /** More than a decoder ever keeps a picture. */
    private static final long SETTLE_MILLIS = 300;

    private final Consumer<DecodedPicture> listener;
    private SequenceHeader.Size size;
    private VideoRxChannel channel;
    private Thread pump;
    private ByteBuffer input = ByteBuffer.allocateDirect(1 << 20);
    private boolean primed;
    private long exhausted;
    private volatile boolean stop;

    StreamDecoder(Consumer<DecodedPicture> listener) {
        this.listener = listener;
    }

    /** Of the stream, or null before its configuration came. */
    SequenceHeader.Size size() {
        return size;
    }

    /** Pictures that were dropped because the listener was too slow. */
    long exhausted() {
        return exhausted + (channel == null ? 0 : channel.pool().exhausted());
    }

    /**
     * Opens the decoder for a stream that has this configuration, and has it decoded first.
     *
     * @return false when there is no size in it or the engine does not open for it
     */
    boolean prime(byte[] header) {
        if (!follow(header)) {
            return false;
        }
        fill(header);
        primed = channel.prime(input, header.length) >= 0;
        return true;
    }

    /**
     * Decodes a unit; the picture comes to the listener, as a rule before this returns.
     *
     * @return false when it was refused, or no configuration has come yet
     */
    boolean decode(byte[] unit) {
        if (!follow(unit)) {
            return false;
        }
        fill(unit);
        int result = channel.decode(input, 0, unit.length);
        if (primed) {
            // That was the header, in place of the unit. A configuration says the same once more.
            primed = false;
            if (AnnexB.hasPicture(ByteBuffer.wrap(unit))) {
                result = channel.decode(input, 0, unit.length);
            }
        }
        if (result < 0) {
            // With all its buffers in use the decoder refuses a unit, but has waited for one: the next time it fits.
            result = channel.decode(input, 0, unit.length);
        }
        return result >= 0;
    }

    @Override
    public void close() {
        finish();
    }

    /** Waits for what is in the decoder, then closes it. A unit that names another size opens one again. */
    void finish() {
        if (channel == null) {
            return;
        }
        try {
            TimeUnit.MILLISECONDS.sleep(SETTLE_MILLIS);
            channel.close();
            stop = true;
            pump.join();
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt(); // nobody does
        }
        exhausted += channel.pool().exhausted();
        channel = null;
    }

    /** Whether a decoder of the right size is open, after seeing to it. */
    private boolean follow(byte[] unit) {
        SequenceHeader.Size told = SequenceHeader.sizeIn(unit);
        if (told != null && !told.equals(size)) {
            finish();
            size = told;
            open();
        }
        return channel != null && channel.isOpen();
    }

    private void open() {
        channel = new VideoRxChannel(new BufferPool(POOL_BUFFERS, size.width() * size.height() * 2, 0));
        channel.open(size.width(), size.height());
        stop = false;
        VideoRxChannel from = channel;
        SequenceHeader.Size of = size;
        pump = new Thread(() -> pump(from.pool(), of), "pictures");
        pump.start();
    }

    private void pump(BufferPool pool, SequenceHeader.Size of) {
        try {
            while (true) {
                boolean last = stop;
                MediaUnit unit = pool.take(last ? 0 : POLL_MILLIS, TimeUnit.MILLISECONDS);
                if (unit != null) {
                    DecodedPicture picture = DecodedPicture.of(unit, of.width(), of.height());
                    pool.release(unit);
                    if (picture != null) {
                        listener.accept(picture);
                    }
                } else if (last) {
                    return;
                }
            }
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt(); // nobody does; the thread ends
        }
    }

    private void fill(byte[] unit) {
        if (unit.length > input.capacity()) {
            input = ByteBuffer.allocateDirect(unit.length * 2);
        }
        input.clear();
        input.put(unit);
    }
}
