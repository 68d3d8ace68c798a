package com.tarvoln.zem.demo;

import java.io.BufferedInputStream;
import java.io.BufferedOutputStream;
import java.io.Closeable;
import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.EOFException;
import java.io.IOException;
import java.io.InterruptedIOException;
import java.net.InetAddress;
import java.net.InetSocketAddress;
import java.net.Socket;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;

/**
 * One end of a connection: messages over TCP. A message is one byte for its type, 4 bytes for a number, 8 for
 * a time, 4 for the length of the payload, all big-endian, and the payload.
 *
 * <p>Nothing is queued here: {@link #send} waits while the connection's buffers are full. One thread
 * receives, any thread sends.
 */
final class Wire implements Closeable {
    /** What a message says; its number on the wire is its place here. */
    enum Type {
        /** Sender, first: its chip profile. */
        HELLO,
        /** Sender: the stream's configuration, to prime the decoder with. */
        HEADER,
        /** Sender: an encoded unit. Number: of its frame, or -1 without a picture. Time: its capture began. */
        UNIT,
        /** Sender, on the side: a captured screen, RGBA. Number: of its frame. Time: width << 32 | height. */
        SAMPLE,
        /** Sender: no more units. */
        END,
        /** Receiver: the decoder has taken a unit. Number: how many so far. */
        TAKEN,
        /** Receiver, last: its figures, as JSON. */
        REPORT,
        /** Receiver, in place of the report: why it gave up. */
        FAILED,
        /** Sender, on the sound's connection: sample rate (number), and codec and channels, a byte each. */
        AUDIO_FORMAT,
        /** Sender, there: encoded sound, or nothing as a sign of life. Time: a block was captured that ends in it. */
        AUDIO
    }

    /** More is a mistake: it is above the RGBA screen of 4096 x 4096. */
    private static final int MOST_BYTES = 80 << 20;

    /** A peer that is alive sends more often. */
    private static final int SILENCE_MILLIS = 30_000;

    private static final int CONNECT_MILLIS = 5000;
    private static final int BUFFER_BYTES = 64 * 1024;

    private final Socket socket;
    private final DataInputStream in;
    private final DataOutputStream out; // guarded by itself

    record Message(Type type, int number, long nanos, byte[] payload) {
        String text() {
            return new String(payload, StandardCharsets.UTF_8);
        }
    }

    Wire(Socket socket) throws IOException {
        this.socket = socket;
        socket.setTcpNoDelay(true);
        socket.setSoTimeout(SILENCE_MILLIS);
        in = new DataInputStream(new BufferedInputStream(socket.getInputStream(), BUFFER_BYTES));
        out = new DataOutputStream(new BufferedOutputStream(socket.getOutputStream(), BUFFER_BYTES));
    }

    static Wire toLoopback(int port) throws IOException {
        Socket socket = new Socket();
        try {
            socket.connect(new InetSocketAddress(InetAddress.getLoopbackAddress(), port), CONNECT_MILLIS);
            return new Wire(socket);
        } catch (IOException e) {
            socket.close();
            throw new IOException("no receiver on port " + port + ": " + e.getMessage(), e);
        }
    }

    void send(Type type, int number, long nanos, ByteBuffer payload) throws IOException {
        byte[] bytes = new byte[payload.remaining()];
        payload.get(bytes);
        synchronized (out) {
            out.writeByte(type.ordinal());
            out.writeInt(number);
            out.writeLong(nanos);
            out.writeInt(bytes.length);
            out.write(bytes);
            out.flush();
        }
    }

    void send(Type type, int number) throws IOException {
        send(type, number, 0, ByteBuffer.allocate(0));
    }

    void send(Type type, String text) throws IOException {
        send(type, 0, 0, StandardCharsets.UTF_8.encode(text));
    }

    /**
     * The next message.
     *
     * @throws EOFException when the peer has closed the connection or died
     * @throws IOException when it is silent for too long, or sends what is no message
     */
    Message receive() throws IOException {
        try {
            int type = in.readUnsignedByte();
            int number = in.readInt();
            long nanos = in.readLong();
            int length = in.readInt();
            if (type >= Type.values().length || length < 0 || length > MOST_BYTES) {
                throw new IOException("no message: type " + type + ", " + length + " bytes");
            }
            byte[] payload = new byte[length];
            in.readFully(payload);
            return new Message(Type.values()[type], number, nanos, payload);
        } catch (InterruptedIOException e) {
            throw new IOException("the peer is silent", e);
        }
    }

    @Override
    public void close() throws IOException {
        socket.close();
    }
}
