package com.tarvoln.zem.demo;

import com.tarvoln.zem.demo.Wire.Message;
import com.tarvoln.zem.demo.Wire.Type;
import java.io.EOFException;
import java.io.IOException;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.net.SocketException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.Locale;
import java.util.Map;

/**
 * The receiver: decodes what the sender, another process, sends, and keeps and shows the pictures. Started by
 * scripts/demo, which explains the options.
 */
public final class Receiver {
    /** The sender is started at the same time. */
    private static final int ACCEPT_MILLIS = 60_000;

    /** So many refused units in a row mean that the decoder has died. */
    private static final int MOST_REFUSALS = 30;

    private final Path out;
    private final String chip;
    private final PictureWindow window;
    private final String sink;
    private final PictureBook book = new PictureBook();
    private final Samples decodeCalls = new Samples();
    private Quality quality;
    private int taken;
    private int refused;
    private int refusedInARow;

    private Receiver(Map<String, String> options) {
        out = Path.of(Options.text(options, "--out"));
        chip = Options.text(options, "--chip");
        window = options.containsKey("--window") ? PictureWindow.open() : null;
        sink = options.get("--sink");
    }

    /** Ends the process with 0, or with 1 after saying on the error stream what went wrong. */
    public static void main(String[] args) {
        int status = 0;
        try {
            Map<String, String> options = Options.pairs(args);
            new Receiver(options).serve(Path.of(Options.text(options, "--port-file")));
        } catch (IOException | InterruptedException | IllegalArgumentException | UnsatisfiedLinkError e) {
            boolean gone = e instanceof EOFException || e instanceof SocketException;
            System.err.println("demo: receiver: " + (gone ? "the sender is gone" : e.getMessage()));
            status = 1;
        }
        System.exit(status); // also when a window is open
    }

    /** Takes one session. The file gets the port's number once connections are accepted. */
    private void serve(Path portFile) throws IOException, InterruptedException {
        try (ServerSocket server = new ServerSocket(0, 3, InetAddress.getLoopbackAddress())) {
            server.setSoTimeout(ACCEPT_MILLIS);
            Path draft = portFile.resolveSibling(portFile.getFileName() + ".new");
            Files.writeString(draft, Integer.toString(server.getLocalPort()));
            Files.move(draft, portFile, StandardCopyOption.ATOMIC_MOVE);
            try (Wire wire = new Wire(server.accept()); Wire side = new Wire(server.accept())) {
                AudioReceiver audio =
                        new AudioReceiver(new Wire(server.accept()), out.resolve("received/audio.wav"), sink);
                Message hello = wire.receive();
                quality = new Quality(side, ColorRoute.between(hello.text(), chip));
                session(wire);
                audio.finish();
            }
        }
    }

    private void session(Wire wire) throws IOException, InterruptedException {
        StreamDecoder decoder = new StreamDecoder(this::show);
        String failure = null;
        try (decoder) {
            Message message = wire.receive();
            while (message.type() != Type.END && failure == null) {
                failure = handle(message, decoder);
                if (message.type() == Type.UNIT) {
                    wire.send(Type.TAKEN, ++taken);
                }
                message = wire.receive();
            }
        }
        book.writePictures(out.resolve("received"));
        if (failure == null && book.pictures() == 0) {
            failure = "no picture came out of the decoder; most chips leave out the first ones, so the session may"
                    + " be too short, or " + out.resolve("receiver.log") + " says why";
        }
        if (failure != null) {
            wire.send(Type.FAILED, failure);
            throw new IOException(failure);
        }
        wire.send(Type.REPORT, report(decoder.exhausted()));
    }

    /** Null, or why the session cannot go on. */
    private String handle(Message message, StreamDecoder decoder) throws IOException {
        switch (message.type()) {
            case HEADER -> {
                if (!decoder.prime(message.payload())) {
                    return "the engine did not open a decoder for the stream on " + chip;
                }
            }
            case UNIT -> decode(message, decoder);
            default -> throw new IOException("the sender sends what only a receiver sends");
        }
        return refusedInARow < MOST_REFUSALS ? null : "the decoder refuses the stream";
    }

    private void decode(Message message, StreamDecoder decoder) {
        if (message.number() >= 0) {
            book.fed(message.number(), message.nanos());
        }
        long start = System.nanoTime();
        if (decoder.decode(message.payload())) {
            decodeCalls.add(System.nanoTime() - start);
            refusedInARow = 0;
        } else {
            refused++;
            refusedInARow++;
        }
    }

    private void show(DecodedPicture picture) {
        int frame = book.decoded(picture);
        quality.decoded(book.pictures() - 1, frame, picture);
        if (window != null) {
            window.show(picture);
        }
    }

    private String report(long exhausted) throws IOException, InterruptedException {
        SequenceHeader.Size size = book.size();
        return String.format(Locale.ROOT, """
                {
                  "chip": "%s",
                  "frames": %d,
                  "frames_left_out": %d,
                  "units_refused": %d,
                  "fps": %.2f,
                  "width": %d,
                  "height": %d,
                  "decode_call_ms": %s,
                  "end_to_end_ms": %s,
                  "psnr_db": %s,
                  "pool_exhausted": %d
                }
                """, chip, book.pictures(), book.left(), refused, book.framesPerSecond(), size.width(), size.height(),
                decodeCalls.json(), book.endToEnd().json(), quality.psnr(book), exhausted);
    }
}
