package com.tarvoln.zem.demo;

import com.tarvoln.zem.BufferPool;
import com.tarvoln.zem.VideoTxChannel;
import java.io.IOException;
import java.nio.file.Files;

/**
 * The sender: captures the screen for a while, sends what the engine delivers to the receiver, another
 * process, and keeps it. Started by scripts/demo, which explains the options.
 */
public final class Demo {
    /**
     * Opening the channel captures and encodes one frame, on every chip that the engine knows: it is the
     * first picture that is delivered, before those of the loop.
     */
    private static final int PRIMING_FRAMES = 1;

    /** More than a codec ever keeps a picture. */
    private static final long DELIVERY_LIMIT_MILLIS = 3000;

    private final Options options;

    private Demo(Options options) {
        this.options = options;
    }

    /** Ends the process with 0, or with 1 after saying on the error stream what went wrong. */
    public static void main(String[] args) {
        String failure;
        try {
            failure = new Demo(Options.parse(args)).run();
        } catch (IOException | InterruptedException | IllegalArgumentException | UnsatisfiedLinkError e) {
            failure = e.toString();
        }
        if (failure != null) {
            System.err.println("demo: " + failure);
            System.exit(1);
        }
    }

    /** The session; gives null, or what went wrong. */
    private String run() throws IOException, InterruptedException {
        try (ReceiverLink link = new ReceiverLink(options.port(), options.chip());
                Sampler sampler = new Sampler(options.port(), options.config());
                AudioSender audio = new AudioSender(options.port(), options.audio())) {
            return session(link, sampler, audio);
        }
    }

    private String session(ReceiverLink link, Sampler sampler, AudioSender audio)
            throws IOException, InterruptedException {
        VideoTxChannel.Config config = options.config();
        BufferPool pool = config.pool();
        FrameTimes times = new FrameTimes();
        UnitWriter writer = new UnitWriter(pool, options.out().resolve("sent.h264"), times, link);
        Progress progress = new Progress(Boolean.getBoolean("zem.demo.terminal"), writer);
        CaptureLoop loop;
        ScreenPicture first;
        try (VideoTxChannel channel = new VideoTxChannel(pool)) {
            loop = new CaptureLoop(channel, config.fps(), progress, times, link, sampler);
            byte[] header = channel.streamHeader(config);
            if (header == null) {
                return notOpened("gave no stream header for");
            }
            link.sendHeader(header);
            times.add(FrameTimes.UNKNOWN); // the priming frame
            writer.start();
            if (!channel.open(config)) {
                return notOpened("did not open");
            }
            first = ScreenPicture.of(channel, config.width(), config.height());
            audio.start();
            loop.run(options.seconds());
            audio.stop();
            // Closing drops what is still inside the codec.
            writer.awaitPictures(PRIMING_FRAMES + loop.starts().size(), DELIVERY_LIMIT_MILLIS);
            if (loop.failure() == null) {
                sampler.finish(times.size() - 1, channel);
            }
            link.sendEnd(); // the other end closes while this one does
        } finally {
            progress.end();
            writer.stop();
        }
        LongList arrivals = writer.finish();
        return conclude(loop, writer, pool.exhausted(), first, deliveryTimes(loop.starts(), arrivals), link,
                audio.finish());
    }

    private String notOpened(String what) {
        return "the engine " + what + " " + options.config().width() + "x" + options.config().height() + " on "
                + options.chip() + "; " + options.out().resolve("engine.log") + " says why";
    }

    private String conclude(CaptureLoop loop, UnitWriter writer, long exhausted, ScreenPicture first, Samples delivery,
            ReceiverLink link, AudioFigures audio) throws IOException, InterruptedException {
        String received = link.awaitReport();
        Report report = new Report(options, loop.seconds(), PRIMING_FRAMES + loop.starts().size(),
                writer.pictures(), writer.configurations(), writer.bytes(), loop.framesPerSecond(),
                loop.captureTimes(), loop.encodeCallTimes(), delivery, exhausted, audio, received);
        Files.writeString(options.out().resolve("summary.json"), report.json());
        if (first != null) {
            first.writePng(options.out().resolve("sent-first.png"));
        }
        System.out.print(report.text());
        if (writer.pictures() == 0) {
            return "nothing was delivered"
                    + (loop.failure() == null ? "" : ": " + loop.failure());
        }
        if (report.unitsDelivered() != report.framesCaptured()) {
            System.err.println("demo: warning: not every captured frame was delivered");
        }
        return loop.failure() != null ? loop.failure() : link.failure();
    }

    /**
     * From the start of each capture to the picture in the pool. Pictures come in the order of the frames,
     * so the n-th belongs to the n-th; the priming frame, which began inside the engine, is left out.
     * With a picture lost there is no telling which, so there are no samples then.
     */
    private static Samples deliveryTimes(LongList starts, LongList arrivals) {
        Samples samples = new Samples();
        if (arrivals.size() == PRIMING_FRAMES + starts.size()) {
            for (int i = 0; i < starts.size(); i++) {
                samples.add(arrivals.get(PRIMING_FRAMES + i) - starts.get(i));
            }
        }
        return samples;
    }
}
