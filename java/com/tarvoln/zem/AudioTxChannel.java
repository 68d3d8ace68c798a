package com.tarvoln.zem;

import java.nio.ByteBuffer;

/**
 * Sends sound: captures what the device plays and encodes it. PCM is signed 16-bit in the machine's byte
 * order, channels interleaved.
 *
 * <pre>{@code
 * try (AudioTxChannel channel = new AudioTxChannel()) {
 *     if (!channel.openCapture(AudioTxChannel.CODEC_VORBIS, 2, 0)) { ... }
 *     ... tell the other end the codec, the channels and channel.getAudioHookClientSampleRate()
 *     MediaUnit packet = channel.pool().take(1, TimeUnit.SECONDS);
 *     ... channel.pool().release(packet);
 * }
 * }</pre>
 *
 * <p>Captured sound is encoded and delivered into the pool on the capturing library's thread, without a
 * call of the application's. An open encoder encodes only while the hook client runs, whoever supplies the
 * PCM. What a packet in the pool is:
 *
 * <ul>
 *   <li>Vorbis: one or more whole Ogg pages of about 1000 bytes, some 80 ms of sound each. There are no header
 *       pages: the other end makes the headers itself, with the same settings and the same version of the
 *       codec.
 *   <li>AAC: raw units, as a rule one; the stream's first bytes are its AudioSpecificConfig.
 * </ul>
 */
public class AudioTxChannel extends MediaChannel {
    /** {@code id}: Ogg Vorbis in software; the stream has no header pages. */
    public static final int CODEC_VORBIS = 3;

    /** {@code id}: AAC in hardware. */
    public static final int CODEC_AAC = 4;

    /** A channel with 32 buffers of 32 KiB. */
    public AudioTxChannel() {
        this(new BufferPool(32, 32 * 1024, 0));
    }

    /** A channel that delivers into the given pool; a packet larger than its buffers is dropped. */
    public AudioTxChannel(BufferPool pool) {
        super(pool);
    }

    /**
     * Opens the capture of what the device plays and an encoder for its sample rate, and starts, after closing
     * what this channel had open. Packets arrive in the pool while something plays, until {@link #close()}.
     * To send everything that was captured, call {@link #stopAudioHookClient()}, take what is in the
     * pool, then close.
     *
     * @param id {@link #CODEC_VORBIS} or {@link #CODEC_AAC}
     * @param channels 2, as captured; or 1 with Vorbis, which keeps the left one
     * @param quality see {@link #openAudioEncoder}
     * @return false when there is nothing to capture with, or the encoder refuses
     */
    public boolean openCapture(int id, int channels, int quality) {
        // The rate is known once the client is open; opening the encoder leaves the client alone.
        return openEngine(() -> openAudioHookClient()
                && openAudioEncoder(id, channels, getAudioHookClientSampleRate(), quality)
                && startAudioHookClient());
    }

    /**
     * {@link #openAudioEncoder}, after closing what this channel had open. Nothing is encoded before
     * {@link #openAudioHookClient()} and {@link #startAudioHookClient()}; {@link #openCapture} does all of it.
     */
    public boolean open(int id, int channels, int sampling, int quality) {
        return openEngine(() -> openAudioEncoder(id, channels, sampling, quality));
    }

    /** {@link #encodeAudio} with delivery, safe against a {@link #close()} at the same time. */
    public int encode(ByteBuffer buffer, int offset, int size) {
        return whileOpen(() -> encodeAudio(buffer, offset, size, true));
    }

    @Override
    void closeEngine() {
        closeAudioEncoder();
    }

    /**
     * Stops the hook client, closes the encoder and forgets the delivery target. Blocks for 200 ms with a
     * hook client, and up to about four seconds with a hardware encoder. Safe when nothing is open.
     */
    public native void closeAudioEncoder();

    /**
     * Opens an encoder that delivers into this object's pool. Close an open one first: opening twice leaks
     * the first delivery target.
     *
     * @param id {@link #CODEC_VORBIS} or {@link #CODEC_AAC}
     * @param channels 1 or 2. The Vorbis encoder is given two channels in any case, and of two keeps the left
     *     one for 1; the AAC encoder is given as many as this says
     * @param sampling sample rate, Hz. Vorbis refuses 8000 and 96000, in mono also 11025 and 22050
     * @param quality Vorbis: only logged. AAC: bit rate by index 0 to 10: 64, 80, 96, 112, 128, 160, 192,
     *     224, 256, 320, 500 kbit/s
     * @return false for an unknown id or settings that the codec refuses
     */
    public native boolean openAudioEncoder(int id, int channels, int sampling, int quality);

    /**
     * Loads the hook library and opens the capture of what the device plays, after stopping one that is
     * running.
     *
     * @return false when the device has no such library or it does not open
     */
    public native boolean openAudioHookClient();

    /** Starts capturing. @return false when it is not open or does not start */
    public native boolean startAudioHookClient();

    /** Stops capturing and unloads it; blocks for 200 ms, and while a block is being encoded. */
    public native void stopAudioHookClient();

    /** The capture's sample rate in Hz; 48000 when it is not open. */
    public native int getAudioHookClientSampleRate();

    /** Gives the sample rate in Hz too, not a format, or 1 when the capture is not open. */
    public native int getAudioHookClientOutputFormat();

    /**
     * Encodes PCM of the application's own. Works only while the hook client runs; what that captures goes
     * into the same stream. A hardware encoder makes the call wait for its output, up to 500 ms, and for
     * as long as it has no free input buffer.
     *
     * @param buffer direct buffer; position and limit are ignored
     * @param offset index of the first byte
     * @param size bytes; fewer than 4 end a Vorbis stream
     * @param flag true to deliver finished packets into the pool, false to fetch them with
     *     {@link #getAudioEncoderData}
     * @return 0 or more when taken, -1 when not
     */
    public native int encodeAudio(ByteBuffer buffer, int offset, int size, boolean flag);

    /**
     * Fetches finished packets.
     *
     * @param buffer direct buffer; position and limit are ignored
     * @param offset index of the first byte to write
     * @param size bytes that may be written
     * @return bytes written, 0 when none are ready, -1 without an encoder or for a bad buffer
     */
    public native int getAudioEncoderData(ByteBuffer buffer, int offset, int size);

    /**
     * Amplifies captured sound.
     *
     * @param state 1 (about 61-fold) to 9 (about 1.2-fold); anything else switches it off
     * @param second ignored
     * @return true
     */
    public native boolean setAudioVolumeState(int state, int second);

    /**
     * Finds out whether the device is playing sound now, by listening for 0.7 s. Blocks for about two
     * seconds: not for a thread that has to stay responsive. Starts the hook client and stops it again
     * when it is not running yet; needs no open encoder. False also when nothing can be captured. (The name
     * is misspelt in every release, so it stays.)
     */
    public native boolean isAdudioPlaying();
}
