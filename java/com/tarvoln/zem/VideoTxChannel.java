package com.tarvoln.zem;

import java.nio.ByteBuffer;

/**
 * Sends the screen: captures it and has the hardware encode it to H.264.
 *
 * <pre>{@code
 * VideoTxChannel.Config config = VideoTxChannel.Config.screen(1280, 720);
 * try (VideoTxChannel channel = new VideoTxChannel(config.pool())) {
 *     if (!channel.open(config)) { ... }
 *     // one thread, once a frame:
 *     channel.capture();
 *     // another thread:
 *     MediaUnit unit = channel.pool().take(1, TimeUnit.SECONDS);
 *     ... channel.pool().release(unit);
 * }
 * }</pre>
 *
 * <p>What arrives in the pool, in order: the codec configuration (SPS and PPS), then one whole access
 * unit for every frame, all in Annex B with start codes. Opening already encodes a first frame of its
 * own, which primes the encoder. On Qualcomm and Samsung hardware that first picture is held back until
 * the next one is ready, so a receiver sees it only after the first {@link #capture()}.
 */
public class VideoTxChannel extends MediaChannel {
    /** {@code source}: the device's screen. The only source that opens. */
    public static final int SOURCE_SCREEN = 1;

    /** {@code id}: H.264 in hardware. The only video codec. */
    public static final int CODEC_H264 = 2;

    /** A configuration takes a few dozen bytes; an encoder's first output may have a picture with it. */
    private static final int MOST_HEADER_BYTES = 1 << 20;

    /** Rate control: the bit rate may vary with the content. */
    public static final int RATE_VARIABLE = 1;

    /** Rate control: the bit rate is held. */
    public static final int RATE_CONSTANT = 2;

    /**
     * What to capture and how to encode it.
     *
     * @param width width of the encoded picture in pixels; the screen is scaled to it. Even
     * @param height height of the encoded picture in pixels. Even
     * @param bitrate bits per second
     * @param fps frames per second that the application means to capture; the stream's clock follows it
     * @param gop frames from one key frame to the next, 1 or more
     * @param rateControl {@link #RATE_VARIABLE} or {@link #RATE_CONSTANT}
     */
    public record Config(int width, int height, int bitrate, int fps, int gop, int rateControl) {
        /** 4 Mbit/s, 30 frames a second, a key frame every two seconds. */
        public static Config screen(int width, int height) {
            return new Config(width, height, 4_000_000, 30, 60, RATE_VARIABLE);
        }

        /** The native methods' {@code gopsize}: GOP length in bits 8 and up, rate control in the low 8. */
        public int packedGop() {
            return gop << 8 | rateControl & 0xFF;
        }

        /** A pool of 16 buffers, each with room for a unit as large as the raw picture. */
        public BufferPool pool() {
            return new BufferPool(16, Math.max(64 * 1024, width * height * 3 / 2), 0);
        }
    }

    /** A channel with 16 buffers of 1 MiB: room for the units of common screen sizes and bit rates. */
    public VideoTxChannel() {
        this(new BufferPool(16, 1 << 20, 0));
    }

    /** A channel that delivers into the given pool; a unit larger than its buffers is dropped. */
    public VideoTxChannel(BufferPool pool) {
        super(pool);
    }

    /**
     * Opens the screen and the encoder, after closing what this channel had open. Takes from about 100 ms
     * to a second, plus the time of a close.
     *
     * @return false when the size is refused, or there is no codec that can be used
     */
    public boolean open(Config config) {
        return openEngine(() -> {
            setVideoEncoderEnv();
            return openVideoEncoder(SOURCE_SCREEN, config.width(), config.height(), CODEC_H264,
                    config.bitrate(), config.fps(), config.packedGop());
        });
    }

    /**
     * The stream's configuration, for the other end to prime its decoder with before the first picture
     * comes. Taken from an encoder of its own, which costs from half a second to five; closes what this
     * channel had open.
     *
     * @return SPS and PPS in Annex B, or null when no encoder gave any
     */
    public byte[] streamHeader(Config config) {
        ByteBuffer header = ByteBuffer.allocateDirect(MOST_HEADER_BYTES);
        int[] size = {0};
        openEngine(() -> {
            if (createVideoEncoderHeader(SOURCE_SCREEN, CODEC_H264, config.width(), config.height(),
                    config.bitrate(), config.fps(), config.packedGop())) {
                size[0] = deleteVideoEncoderHeader(header);
            }
            return false; // nothing stays open
        });
        if (size[0] <= 0) {
            return null;
        }
        byte[] bytes = new byte[size[0]];
        header.get(bytes);
        return bytes;
    }

    /** {@link #captureScreen(boolean) captureScreen(true)}, safe against a {@link #close()} at the same time. */
    public int capture() {
        return whileOpen(() -> captureScreen(true));
    }

    @Override
    void closeEngine() {
        closeVideoEncoder();
    }

    /**
     * Limits capturing to the compositor's layers up to this Z, from the next capture on; the default is
     * all. Without an open channel nothing happens.
     *
     * @param layer highest layer to show, taken as unsigned
     */
    public native void setMaxCaptureLayer(int layer);

    /**
     * Closes screen and encoder and forgets the delivery target that {@link #setVideoEncoderEnv()} set, so
     * that has to be called again before the next open. Blocks for 100 ms to about four seconds, until
     * the codec is down. Safe when nothing is open. Not while another thread is in a data call of this
     * channel; {@link #close()} takes care of that.
     */
    public native void closeVideoEncoder();

    /**
     * Opens screen and encoder. {@link #setVideoEncoderEnv()} comes first, or nothing is delivered. Close
     * an open encoder before: opening over it waits up to seven seconds for it to close by itself.
     *
     * @param source {@link #SOURCE_SCREEN}
     * @param width picture width in pixels, 1 or more
     * @param height picture height in pixels, 1 or more
     * @param id {@link #CODEC_H264}
     * @param bitrate bits per second
     * @param fps frames per second
     * @param gopsize see {@link Config#packedGop()}
     * @return whether the encoder runs
     */
    public native boolean openVideoEncoder(
            int source, int width, int height, int id, int bitrate, int fps, int gopsize);

    /**
     * Captures the screen and, if asked to, encodes it. With {@code encode} the call paces itself: it
     * sleeps 30 ms after handing the frame over, so about 31 frames a second are the most; it may wait
     * 300 ms more for a busy encoder and 3 s for one that has stopped answering. The encoded unit
     * arrives in the pool from the engine's output thread, usually before the call is back. One thread
     * at a time.
     *
     * @param encode false captures only, for {@link #getCapturedScreenData}
     * @return 0 done, or nothing to do because the captured size is not the encoder's; -1 nothing open,
     *     no capture, or the frame was refused; -2 the encoder stopped answering and has been shut
     *     down: close and open again
     */
    public native int captureScreen(boolean encode);

    /**
     * Gives a camera picture to encode in place of the screen, from the next
     * {@link #captureScreen(boolean)} on until the encoder is closed. The bytes are copied.
     *
     * @param buffer direct buffer with YUV 4:2:0 in the encoder's own layout, from index 0; position and
     *     limit are ignored
     * @param size bytes, at least width * height * 3 / 2 of the open encoder
     * @return {@code size}, or -1 for a bad buffer or size or without an open encoder
     */
    public native int setCameraData(ByteBuffer buffer, int size);

    /**
     * Copies the last captured picture: rows from the top, 4 bytes a pixel (red, green, blue, alpha),
     * no padding. Captures nothing itself.
     *
     * @param buffer direct buffer; position and limit are ignored
     * @param offset index of the first byte to write
     * @param size bytes that may be written; width * height * 4 are needed
     * @return bytes of the picture, or -1 when nothing is open or captured or the room does not suffice.
     *     For a screen that is not {@link JniContext#FORMAT_RGBA_8888} the count is given but nothing is
     *     copied
     */
    public native int getCapturedScreenData(ByteBuffer buffer, int offset, int size);

    /**
     * Encodes the last captured picture once more. The hardware encoder never writes into
     * {@code buffer}: its output arrives in the pool as always. Blocks as {@link #captureScreen(boolean)} does.
     *
     * @param buffer direct buffer; position and limit are ignored
     * @param offset index in the buffer
     * @param size bytes from there
     * @return as {@link #captureScreen(boolean)}
     */
    public native int getVideoEncoderData(ByteBuffer buffer, int offset, int size);

    /**
     * Makes this object's pool the target of encoded units. Once before each
     * {@link #openVideoEncoder}: closing the encoder undoes it. A second call without a close in between
     * leaks the first target.
     */
    public native void setVideoEncoderEnv();

    /**
     * Gets the stream's configuration from a throw-away encoder and keeps it inside the engine for
     * {@link #deleteVideoEncoderHeader}. Call it with no encoder open: it opens and closes one, which also
     * undoes {@link #setVideoEncoderEnv()}. Blocks for about half a second to five seconds.
     *
     * <p>Mind the order of the arguments: it is not that of {@link #openVideoEncoder}.
     *
     * @return whether a configuration is there to be fetched
     */
    public native boolean createVideoEncoderHeader(
            int source, int id, int width, int height, int bitrate, int fps, int gopsize);

    /**
     * Moves the kept stream configuration into a buffer, at index 0. Any thread; does not block.
     *
     * @param buffer direct buffer with room for it (a few dozen bytes)
     * @return its size in bytes; 0 when none is kept; -1 for a bad or too small buffer, and it stays kept
     */
    public native int deleteVideoEncoderHeader(ByteBuffer buffer);
}
