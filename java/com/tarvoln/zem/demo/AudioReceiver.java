package com.tarvoln.zem.demo;

import com.tarvoln.zem.AudioRxChannel;
import com.tarvoln.zem.MediaUnit;
import com.tarvoln.zem.demo.Wire.Message;
import com.tarvoln.zem.demo.Wire.Type;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Path;
import java.util.concurrent.TimeUnit;

/**
 * Decodes the sound that comes on a connection of its own, on a thread of its own, into a file, and plays it where
 * that is asked for. When it cannot, it says so to the sender after the end and the pictures go on.
 */
final class AudioReceiver {
    /** After the end of the pictures: decoding what is on the way, and closing the decoder (about 4 s). */
    private static final long FINISH_MILLIS = 15_000;

    private final Wire wire;
    private final Path path;
    private final String sink;
    private final Thread thread = new Thread(this::run, "audio-receiver");
    private final Samples latencies = new Samples(); // of the thread, as all that follows
    private final AudioRxChannel channel = new AudioRxChannel();
    private ByteBuffer input = ByteBuffer.allocateDirect(1 << 16);
    private WavFile file;
    private Speaker speaker;
    private long frames;
    private long refused;
    private String failure;

    /**
     * Takes one session's sound.
     *
     * @param path of the WAV file
     * @param sink of the sound server to play on, or null
     */
    AudioReceiver(Wire wire, Path path, String sink) {
        this.wire = wire;
        this.path = path;
        this.sink = sink;
        thread.setDaemon(true);
        thread.start();
    }

    /** Waits until the sound has ended, too, or its connection has. */
    void finish() throws InterruptedException {
        thread.join(FINISH_MILLIS);
    }

    private void run() {
        try (wire) {
            Message message = wire.receive();
            while (message.type() != Type.END) {
                handle(message);
                message = wire.receive();
            }
            channel.close();
            drain(FrameTimes.UNKNOWN);
            report();
        } catch (IOException e) {
            // The connection's end; the other one tells whether it is the session's.
        } finally {
            channel.close();
            closeOutputs();
        }
    }

    private void handle(Message message) throws IOException {
        switch (message.type()) {
            case AUDIO_FORMAT -> open(message.payload(), message.number());
            case AUDIO -> decode(message);
            default -> throw new IOException("the sender sends what only a receiver sends");
        }
    }

    private void open(byte[] format, int rate) throws IOException {
        if (file != null || format.length != 2 || format[1] < 1 || format[1] > AudioCodec.CHANNELS || rate < 1) {
            throw new IOException("no format of sound that there is");
        }
        if (!channel.open(format[0], format[1], rate, AudioCodec.QUALITY)) {
            failure = "the receiver's engine did not open a decoder for it";
            return;
        }
        file = new WavFile(path, channel.getAudioSamplingRate(), channel.getAudioChannelCount());
        speaker = sink == null ? null : Speaker.open(sink, rate, format[1]);
    }

    private void decode(Message message) throws IOException {
        byte[] packet = message.payload();
        if (file == null || packet.length == 0) {
            return; // no decoder, or a sign of life
        }
        if (packet.length > input.capacity()) {
            input = ByteBuffer.allocateDirect(2 * packet.length);
        }
        input.clear().put(packet);
        if (channel.decode(input, 0, packet.length) < 0) {
            refused++;
        }
        drain(message.nanos());
    }

    /** Takes what is in the pool: the decoder delivers before it returns. */
    private void drain(long captureNanos) throws IOException {
        long capture = captureNanos;
        for (MediaUnit block = next(); block != null; block = next()) {
            try {
                if (block.size() > 0 && capture != FrameTimes.UNKNOWN) {
                    latencies.add(block.arrivalNanos() - capture);
                    capture = FrameTimes.UNKNOWN; // one for each packet
                }
                keep(block);
            } finally {
                channel.pool().release(block);
            }
        }
    }

    private MediaUnit next() throws IOException {
        try {
            return channel.pool().take(0, TimeUnit.MILLISECONDS);
        } catch (InterruptedException e) {
            throw new IOException("interrupted", e); // nobody does
        }
    }

    private void keep(MediaUnit block) throws IOException {
        if (file != null) {
            file.write(block.payload());
            frames = file.frames();
        }
        if (speaker != null) {
            speaker.play(block.payload());
        }
    }

    private void report() throws IOException {
        if (failure != null) {
            wire.send(Type.FAILED, failure);
            return;
        }
        long lost = refused + channel.pool().exhausted() + channel.pool().abandoned();
        wire.send(Type.REPORT, new AudioFigures.Received(frames, lost, latencies.count(), latencies.percentile(50),
                latencies.percentile(95)).line());
    }

    private void closeOutputs() {
        try {
            if (speaker != null) {
                speaker.close();
            }
            if (file != null) {
                file.close();
            }
        } catch (IOException e) {
            System.out.println("The received sound is not complete: " + e.getMessage());
        }
    }
}
