package com.tarvoln.zem.demo;

import com.tarvoln.zem.AudioTxChannel;
import java.util.Locale;

/** How the demo sends sound. */
enum AudioCodec {
    VORBIS(AudioTxChannel.CODEC_VORBIS, 1),
    AAC(AudioTxChannel.CODEC_AAC, 2);

    /** What is captured is stereo. */
    static final byte CHANNELS = 2;

    /** Index of the AAC encoder's bit rate: 128 kbit/s. Without effect on Vorbis. */
    static final int QUALITY = 4;

    /** The engine's number. */
    final int id;

    /**
     * A packet comes within some milliseconds of the capture of a block, the one that completes it; the sound of that
     * block itself comes so many packets later. So its delay can be told, of one block in a packet: neither the
     * longest nor the shortest. A full Vorbis page goes out and the next one begins. AAC's encoder keeps a unit
     * back, and its transform reaches over one more.
     */
    final int packetsBehind;

    AudioCodec(int id, int packetsBehind) {
        this.id = id;
        this.packetsBehind = packetsBehind;
    }

    /** As on the command line; null for {@code none}. */
    static AudioCodec named(String name) {
        return name.equals("none") ? null : valueOf(name.toUpperCase(Locale.ROOT));
    }

    @Override
    public String toString() {
        return name().toLowerCase(Locale.ROOT);
    }
}
