package com.tarvoln.zem;

import java.nio.ByteBuffer;

/**
 * Receives sound: decodes it to signed 16-bit PCM in the machine's byte order, channels interleaved.
 * Decoded blocks arrive in the pool, as a rule before {@link #decode} returns: they have no fixed size, and
 * with Vorbis they may be empty.
 *
 * <p>Packets are decoded in the order in which the sender's pool gave them. After a lost one Vorbis goes on with
 * the next page. An AAC stream cannot be joined without its first packet, which has the configuration.
 */
public class AudioRxChannel extends MediaChannel {
    /** {@code id}: Ogg Vorbis in software; the stream has no header pages. */
    public static final int CODEC_VORBIS = 3;

    /** {@code id}: AAC in hardware. */
    public static final int CODEC_AAC = 4;

    /** A channel with 16 buffers of 64 KiB. */
    public AudioRxChannel() {
        this(new BufferPool(16, 64 * 1024, 0));
    }

    /** A channel that delivers into the given pool. */
    public AudioRxChannel(BufferPool pool) {
        super(pool);
    }

    /** {@link #openAudioDecoder}, after closing what this channel had open. */
    public boolean open(int id, int channels, int sampling, int quality) {
        return openEngine(() -> openAudioDecoder(id, channels, sampling, quality));
    }

    /** {@link #decodeAudio} with delivery, safe against a {@link #close()} at the same time. */
    public int decode(ByteBuffer buffer, int offset, int size) {
        return whileOpen(() -> decodeAudio(buffer, offset, size, true));
    }

    @Override
    void closeEngine() {
        closeAudioDecoder();
    }

    /**
     * Closes the decoder and forgets the delivery target; blocks up to about four seconds with a hardware
     * decoder. Safe when nothing is open.
     */
    public native void closeAudioDecoder();

    /**
     * Opens a decoder that delivers into this object's pool, with the sender's settings: a Vorbis decoder
     * rebuilds the stream's headers from them. Close an open one first: opening twice leaks the first
     * delivery target.
     *
     * @param id {@link #CODEC_VORBIS} or {@link #CODEC_AAC}
     * @param channels 1 or 2
     * @param sampling sample rate, Hz
     * @param quality only logged
     * @return false for an unknown id or settings that the codec refuses
     */
    public native boolean openAudioDecoder(int id, int channels, int sampling, int quality);

    /**
     * Feeds the decoder. May block for as long as a hardware decoder has no free input buffer, and 500 ms
     * for its output.
     *
     * @param buffer direct buffer; position and limit are ignored
     * @param offset index of the first byte
     * @param size bytes
     * @param flag true to deliver PCM into the pool (with Vorbis every call delivers a buffer, also an
     *     empty one), false to fetch it with {@link #getAudioDecoderData}
     * @return 0 or more when taken, -1 when not
     */
    public native int decodeAudio(ByteBuffer buffer, int offset, int size, boolean flag);

    /** Sample rate of the open decoder in Hz, -1 without one. */
    public native int getAudioSamplingRate();

    /** Channels of the open decoder, -1 without one. */
    public native int getAudioChannelCount();

    /**
     * Fetches PCM.
     *
     * @param buffer direct buffer; position and limit are ignored
     * @param offset index of the first byte to write
     * @param size bytes that may be written
     * @return bytes written, 0 when none are ready, -1 without a decoder or for a bad buffer
     */
    public native int getAudioDecoderData(ByteBuffer buffer, int offset, int size);
}
