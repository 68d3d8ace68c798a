package com.tarvoln.zem;

import java.nio.ByteBuffer;

/**
 * Sends sound: captures what the device plays and encodes it. PCM is signed 16-bit in the machine's byte
 * order, channels interleaved.
 *
 * <p>Captured sound is encoded and delivered into the pool on the capturing library's thread, without a
 * call of the application's. An open encoder encodes only while the hook client runs.
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

    /** {@link #openAudioEncoder}, after closing what this channel had open. */
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
     * @param channels 1 or 2
     * @param sampling sample rate, Hz
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
     * Encodes PCM of the application's own. Works only while the hook client runs. May block for as long
     * as the encoder has no free input buffer.
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
     * when it is not running yet. (The name is misspelt in every release, so it stays.)
     */
    public native boolean isAdudioPlaying();
}
