package com.tarvoln.zem.demo;

import com.tarvoln.zem.AudioTxChannel;
import com.tarvoln.zem.JniContext;
import com.tarvoln.zem.MediaUnit;
import com.tarvoln.zem.demo.Wire.Message;
import com.tarvoln.zem.demo.Wire.Type;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.util.concurrent.TimeUnit;

/**
 * Sends what the machine plays, on a connection and a thread of its own: neither does a picture wait for sound, nor
 * sound for the receiver's video decoder. Whatever fails here is told in one line, and the pictures go on.
 */
final class AudioSender implements AutoCloseable {
    private static final long POLL_MILLIS = 50;

    /** Without sound something is sent all the same, or the receiver would take the sender for dead. */
    private static final long KEEP_ALIVE_NANOS = TimeUnit.SECONDS.toNanos(5);

    /** Closing both ends' codecs takes about 4 s each. */
    private static final long FINISH_MILLIS = 20_000;

    private final AudioCodec codec;
    private final Wire wire;
    private final Thread thread = new Thread(this::run, "audio-sender");
    private final LongList arrivals = new LongList(); // of the thread, as all that follows until it has ended
    private int rate;
    private long bytes;
    private long lost;
    private long beginNanos;
    private long endNanos;
    private long lastSentNanos;
    private AudioFigures figures;
    private volatile boolean stop;
    private volatile boolean closed;

    /** Connects; nothing is captured before {@link #start()}, nor ever when the codec is null. */
    AudioSender(int port, AudioCodec codec) throws IOException {
        this.codec = codec;
        wire = Wire.toLoopback(port);
        thread.setDaemon(true);
    }

    /** Begins to capture. Does not wait for it. */
    void start() {
        thread.start();
    }

    /** Ends the capture; what was captured is still sent. Does not wait. */
    void stop() {
        stop = true;
    }

    /** Waits for the end after {@link #stop()}: what became of the sound, or null when there is nothing to tell. */
    AudioFigures finish() throws InterruptedException {
        stop();
        thread.join(FINISH_MILLIS);
        if (thread.isAlive()) {
            tell("it does not end");
            return null;
        }
        return figures;
    }

    /** Lets go at once, also in the middle. */
    @Override
    public void close() throws IOException {
        closed = true;
        stop();
        wire.close();
    }

    private void run() {
        try {
            if (codec == null) {
                wire.send(Type.END, 0);
                return;
            }
            try (AudioTxChannel channel = new AudioTxChannel()) {
                boolean opens = channel.openCapture(codec.id, AudioCodec.CHANNELS, AudioCodec.QUALITY);
                if (opens) {
                    send(channel);
                }
                wire.send(Type.END, 0); // the other end closes while this one does
                if (!opens) {
                    tell(whyNot());
                    return;
                }
            }
            conclude(wire.receive());
        } catch (IOException e) {
            tell("the receiver's end is gone");
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt(); // nobody does; the thread ends
        }
    }

    private void send(AudioTxChannel channel) throws IOException, InterruptedException {
        beginNanos = System.nanoTime();
        lastSentNanos = beginNanos;
        rate = channel.getAudioHookClientSampleRate();
        wire.send(Type.AUDIO_FORMAT, rate, 0, ByteBuffer.wrap(new byte[] {(byte) codec.id, AudioCodec.CHANNELS}));
        while (!stop) {
            sendNext(channel, POLL_MILLIS);
        }
        channel.stopAudioHookClient();
        endNanos = System.nanoTime();
        while (sendNext(channel, 0)) {
            // until the pool is empty
        }
        lost = channel.pool().exhausted() + channel.pool().abandoned();
    }

    /** False when nothing came in time. */
    private boolean sendNext(AudioTxChannel channel, long waitMillis) throws IOException, InterruptedException {
        MediaUnit packet = channel.pool().take(waitMillis, TimeUnit.MILLISECONDS);
        if (packet != null) {
            try {
                int before = arrivals.size() - codec.packetsBehind;
                sendPacket(arrivals.size(), before < 0 ? FrameTimes.UNKNOWN : arrivals.get(before), packet.payload());
                arrivals.add(packet.arrivalNanos());
                bytes += packet.size();
            } finally {
                channel.pool().release(packet);
            }
        } else if (System.nanoTime() - lastSentNanos > KEEP_ALIVE_NANOS) {
            sendPacket(-1, FrameTimes.UNKNOWN, ByteBuffer.allocate(0));
        }
        return packet != null;
    }

    private void sendPacket(int number, long captureNanos, ByteBuffer payload) throws IOException {
        wire.send(Type.AUDIO, number, captureNanos, payload);
        lastSentNanos = System.nanoTime();
    }

    private void conclude(Message message) {
        if (message.type() != Type.REPORT) {
            tell(message.text());
            return;
        }
        figures = new AudioFigures(codec, rate, AudioCodec.CHANNELS, arrivals.size(), bytes,
                (endNanos - beginNanos) / 1e9, lost, AudioFigures.Received.parse(message.text()));
    }

    private static String whyNot() {
        return new JniContext().isAudioHookAvailable()
                ? "no sound server answers, or the encoder does not open"
                : "there is no library to capture it with";
    }

    private void tell(String why) {
        if (!closed) {
            System.out.println("No sound: " + why + "; going on without");
        }
    }
}
