package com.tarvoln.zem;

import android.graphics.Bitmap;
import java.nio.ByteBuffer;

/**
 * Receives video: has the hardware decode H.264 to pictures for the display.
 *
 * <p>Decoded pictures arrive in the pool: rows from the top without padding, 16-bit RGB 5:6:5 with red
 * in the high bits, in the machine's byte order. Their size is that of the stream:
 * {@link #getDecodedVideoWidth()} x {@link #getDecodedVideoHeight()}. A decoder keeps the size that it
 * learned first; close and open the channel when the sender changes it.
 *
 * <p>Most hardware announces the stream's size at its start. The engine then drops the next pictures,
 * five times as many as the decoder has output buffers (about a second of video), and delivers every one
 * after them.
 *
 * <pre>{@code
 * try (VideoRxChannel channel = new VideoRxChannel(new BufferPool(4, width * height * 2, 0))) {
 *     if (!channel.open(width, height)) { ... }
 *     channel.prime(header, headerSize);      // what the sender's streamHeader() gave
 *     // one thread, every unit as it comes, the configuration included:
 *     channel.decode(unit, 0, unitSize);
 *     // another thread:
 *     MediaUnit picture = channel.pool().take(1, TimeUnit.SECONDS);
 *     ... channel.pool().release(picture);
 * }
 * }</pre>
 */
public class VideoRxChannel extends MediaChannel {
    /** {@code id}: H.264 in hardware. The only video codec. */
    public static final int CODEC_H264 = 2;

    /** A channel with 4 buffers for pictures of up to 1920 x 1088. */
    public VideoRxChannel() {
        this(new BufferPool(4, 1920 * 1088 * 2, 0));
    }

    /** A channel that delivers into the given pool; a picture larger than its buffers is dropped. */
    public VideoRxChannel(BufferPool pool) {
        super(pool);
    }

    /**
     * Opens the decoder for pictures of this size, after closing what this channel had open.
     *
     * @return false when there is no codec that can be used
     */
    public boolean open(int width, int height) {
        return openEngine(() -> {
            setVideoDecoderEnv();
            return openVideoDecoder(CODEC_H264, width, height);
        });
    }

    /** {@link #decodeVideo} with delivery, safe against a {@link #close()} at the same time. */
    public int decode(ByteBuffer buffer, int offset, int size) {
        return whileOpen(() -> decodeVideo(buffer, offset, size, true));
    }

    /**
     * {@link #setEncoderHeader}, safe against a {@link #close()} at the same time. After {@link #open}, which
     * forgets a header that was set before: what the next {@link #decode} is given is then lost, so give
     * it the configuration that begins the stream, or the same unit twice.
     */
    public int prime(ByteBuffer header, int size) {
        return whileOpen(() -> setEncoderHeader(header, size));
    }

    @Override
    void closeEngine() {
        closeVideoDecoder();
    }

    /**
     * Closes the decoder and forgets the delivery target and a header that was set and not used yet.
     * Blocks for 100 ms to about four seconds. Safe when nothing is open. Not while another thread is in a
     * data call of this channel; {@link #close()} takes care of that.
     */
    public native void closeVideoDecoder();

    /**
     * Opens the decoder. {@link #setVideoDecoderEnv()} comes first, or nothing is delivered. Opening over an
     * open decoder waits for it, up to six seconds.
     *
     * @param id {@link #CODEC_H264}
     * @param width expected picture width in pixels, 1 or more
     * @param height expected picture height in pixels, 1 or more
     * @return whether the decoder runs
     */
    public native boolean openVideoDecoder(int id, int width, int height);

    /**
     * Feeds the decoder with one access unit, or with the configuration. Sleeps 30 ms, and waits without
     * limit while the decoder has no input buffer free. One thread at a time. The first call after
     * {@link #setEncoderHeader} decodes that header in place of the unit.
     *
     * @param buffer direct buffer with Annex B H.264; position and limit are ignored
     * @param offset index of the first byte
     * @param size bytes
     * @param flag true to have the picture delivered; the hardware decoder delivers in both cases
     * @return 0 or more when taken, -1 when not: no decoder, a bad buffer, a decoder in error, or one that had
     *     no input buffer free at first: it has one now, so give the unit once more
     */
    public native int decodeVideo(ByteBuffer buffer, int offset, int size, boolean flag);

    /**
     * Copies the last picture into a bitmap, with decoders that can. The hardware decoder cannot and
     * leaves the bitmap as it is: pictures come through the pool.
     *
     * @return -1 when the bitmap's pixels are not accessible, else 0, even though nothing was copied
     */
    public native int getDecodedBitmap(Bitmap bitmap);

    /** Width of the decoded picture in pixels; 0 until the decoder knows it, -1 without a decoder. */
    public native int getDecodedVideoWidth();

    /** Height of the decoded picture in pixels; 0 until the decoder knows it, -1 without a decoder. */
    public native int getDecodedVideoHeight();

    /**
     * Makes this object's pool the target of decoded pictures. Once before each
     * {@link #openVideoDecoder}: closing the decoder undoes it. A second call without a close in between
     * leaks the first target.
     */
    public native void setVideoDecoderEnv();

    /**
     * Keeps the sender's stream configuration for the next {@link #decodeVideo}. The engine has room for one,
     * shared with {@link VideoTxChannel#createVideoEncoderHeader}: while one is kept, a new one is
     * ignored.
     *
     * @param buffer direct buffer with the configuration, from index 0
     * @param size bytes, 1 or more
     * @return without meaning; -1 for a bad buffer or size
     */
    public native int setEncoderHeader(ByteBuffer buffer, int size);
}
