package com.tarvoln.zem.e2e;

import com.tarvoln.zem.AudioRxChannel;
import com.tarvoln.zem.AudioTxChannel;
import com.tarvoln.zem.MediaUnit;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.ShortBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.concurrent.TimeUnit;

/**
 * Proves that what plays on the sound server arrives as PCM at the other end, each channel with its own tone, without a
 * gap, through both codecs; that an application's own PCM does; and that the probe tells sound from silence. With a
 * file (argument): that a WAV file of a demo's is whole and has the demo's chords in it, one after the other. Would
 * catch channels swapped or mixed, a wrong rate, a block lost, doubled or cut, mono that keeps the right channel, a
 * page or unit that does not reach Java, and a probe that counts silence or ends the capture of others.
 */
public final class SoundTest {
    private static final int LEFT = 440;
    private static final int RIGHT = 587;
    private static final int QUALITY = 4; // AAC: 128 kbit/s
    private static final int BLOCK_FRAMES = 1024;

    private static final int[][] CHORDS = {{262, 330, 392}, {220, 262, 330}, {175, 220, 262}, {196, 247, 294}};
    private static final int WINDOWS_PER_SECOND = 5;

    public static void main(String[] args) throws Exception {
        if (args.length > 0) {
            chords(Files.readAllBytes(Path.of(args[0])));
            return;
        }
        try (AudioTxChannel probe = new AudioTxChannel()) {
            Check.that(!probe.isAdudioPlaying(), "silence is no sound");
            ownPcm();
            try (Tone tone = new Tone(LEFT, RIGHT)) {
                tone.play();
                Check.that(probe.isAdudioPlaying(), "sound is sound");
                captured(AudioTxChannel.CODEC_VORBIS, 2);
                captured(AudioTxChannel.CODEC_VORBIS, 1);
                captured(AudioTxChannel.CODEC_AAC, 2);
            }
        }
    }

    private static void captured(int codec, int channels) throws Exception {
        try (AudioTxChannel sender = new AudioTxChannel(); AudioRxChannel receiver = new AudioRxChannel()) {
            Check.that(sender.openCapture(codec, channels, QUALITY), "opens");
            int rate = sender.getAudioHookClientSampleRate();
            Check.same(Tone.RATE, rate, "the rate of the capture");
            Check.that(receiver.open(codec, channels, rate, QUALITY), "the receiver opens");
            Check.same(rate, receiver.getAudioSamplingRate(), "rate");
            Check.same(channels, receiver.getAudioChannelCount(), "channels");
            Recording pcm = new Recording(receiver.pool());
            while (pcm.stream().length < 2 * rate * channels * 2) {
                relay(sender, receiver, pcm);
            }
            Check.that(sender.isAdudioPlaying(), "the probe during a capture");
            relay(sender, receiver, pcm); // which goes on
            verify(pcm, channels, "codec " + codec + ", " + channels + " channels");
        }
    }

    /** Encoded only while the hook client runs; with the server silent that adds nothing. */
    private static void ownPcm() throws Exception {
        try (AudioTxChannel sender = new AudioTxChannel(); AudioRxChannel receiver = new AudioRxChannel()) {
            Check.that(sender.open(AudioTxChannel.CODEC_AAC, 1, Tone.RATE, QUALITY), "opens");
            Check.that(receiver.open(AudioTxChannel.CODEC_AAC, 1, Tone.RATE, QUALITY), "the receiver opens");
            ByteBuffer block = ByteBuffer.allocateDirect(BLOCK_FRAMES * 2);
            Check.same(-1, sender.encode(block, 0, block.capacity()), "without the hook client");
            Check.that(sender.openAudioHookClient() && sender.startAudioHookClient(), "the hook client starts");
            ByteBuffer tone = Tone.pcm(2 * Tone.RATE, LEFT);
            Recording pcm = new Recording(receiver.pool());
            while (tone.remaining() >= block.capacity()) {
                block.clear().put(tone.slice(tone.position(), block.capacity()));
                tone.position(tone.position() + block.capacity());
                Check.that(sender.encode(block, 0, block.capacity()) >= 0, "encode");
                relay(sender, receiver, pcm);
            }
            verify(pcm, 1, "PCM of the application's");
        }
    }

    /** What the sender has delivered, at the latest in 2 s, through the receiver. */
    private static void relay(AudioTxChannel sender, AudioRxChannel receiver, Recording pcm) throws Exception {
        MediaUnit packet = sender.pool().take(2, TimeUnit.SECONDS);
        Check.that(packet != null, "nothing comes");
        Check.that(Tone.pass(sender.pool(), packet, receiver) >= 0, "decode");
        pcm.takeFor(0);
    }

    private static void chords(byte[] wav) {
        ByteBuffer file = ByteBuffer.wrap(wav).order(ByteOrder.LITTLE_ENDIAN).position(40);
        Check.same(file.getInt(), file.remaining(), "bytes of sound");
        ShortBuffer samples = file.slice().order(ByteOrder.LITTLE_ENDIAN).asShortBuffer();
        int window = Tone.RATE / WINDOWS_PER_SECOND;
        int windows = samples.capacity() / 2 / window;
        int clear = 0; // one in a second has the change in it, and at first there may be silence
        int last = -1;
        for (int i = 0; i < windows; i++) {
            int chord = 0;
            while (chord < CHORDS.length && shareOf(CHORDS[chord], samples, i * window * 2, window) < 0.9) {
                chord++;
            }
            if (chord < CHORDS.length) {
                Check.that(last < 0 || chord == last || chord == (last + 1) % CHORDS.length, chord + " after " + last);
                last = chord;
                clear++;
            }
        }
        Check.between(Math.max(1, windows * 2 / 3), windows, clear, "windows with a chord");
    }

    private static double shareOf(int[] chord, ShortBuffer samples, int first, int count) {
        return Arrays.stream(chord).mapToDouble(hertz -> Tone.share(samples, first, 2, count, hertz)).sum();
    }

    /** The second after the first half, in which playing and coding have begun; 0.1 Hz beside it is less. */
    private static void verify(Recording pcm, int channels, String what) {
        ShortBuffer samples = Tone.samples(pcm.stream());
        Check.between(Tone.RATE * 3L / 2 * channels, Integer.MAX_VALUE, samples.capacity(), what + ": samples");
        for (int channel = 0; channel < channels; channel++) {
            double share = Tone.share(samples, Tone.RATE / 2 * channels + channel, channels, Tone.RATE,
                    channel == 0 ? LEFT : RIGHT);
            Check.that(share > 0.98, what + ": channel " + channel + " is only to " + share + " its tone");
        }
    }
}
