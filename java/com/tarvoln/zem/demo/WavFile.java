package com.tarvoln.zem.demo;

import java.io.Closeable;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.channels.FileChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;

/**
 * A WAV file of 16-bit PCM. Its header is right after every block, so the file plays also when the process
 * ends in the middle. Not thread-safe.
 */
final class WavFile implements Closeable {
    private static final int HEADER_BYTES = 44;
    private static final int RIFF_BYTES = HEADER_BYTES - 8;
    private static final int FORMAT_BYTES = 16;
    private static final short FORMAT_PCM = 1;
    private static final int BYTES_PER_SAMPLE = 2;

    /** The header's sizes have 32 bits, and some players take them as signed: about 3 hours. */
    private static final int MOST_BYTES = Integer.MAX_VALUE - HEADER_BYTES;

    private final FileChannel file;
    private final int rate;
    private final int channels;
    private int bytes;

    /** Creates the file, and its folder when there is none. */
    WavFile(Path path, int rate, int channels) throws IOException {
        this.rate = rate;
        this.channels = channels;
        Files.createDirectories(path.getParent());
        file = FileChannel.open(path, StandardOpenOption.CREATE, StandardOpenOption.TRUNCATE_EXISTING,
                StandardOpenOption.WRITE);
        writeHeader();
    }

    /** Appends interleaved samples; little-endian, which all machines with this engine are. */
    void write(ByteBuffer pcm) throws IOException {
        int size = pcm.remaining();
        if (size == 0 || size > MOST_BYTES - bytes) {
            return;
        }
        while (pcm.hasRemaining()) {
            file.write(pcm, HEADER_BYTES + bytes + size - pcm.remaining());
        }
        bytes += size;
        writeHeader();
    }

    /** Samples of one channel so far. */
    int frames() {
        return bytes / (channels * BYTES_PER_SAMPLE);
    }

    private void writeHeader() throws IOException {
        int frameBytes = channels * BYTES_PER_SAMPLE;
        ByteBuffer header = ByteBuffer.allocate(HEADER_BYTES).order(ByteOrder.LITTLE_ENDIAN);
        header.put(ascii("RIFF")).putInt(RIFF_BYTES + bytes).put(ascii("WAVE"));
        header.put(ascii("fmt ")).putInt(FORMAT_BYTES).putShort(FORMAT_PCM).putShort((short) channels);
        header.putInt(rate).putInt(rate * frameBytes).putShort((short) frameBytes);
        header.putShort((short) (8 * BYTES_PER_SAMPLE)).put(ascii("data")).putInt(bytes);
        file.write(header.flip(), 0);
    }

    private static byte[] ascii(String text) {
        return text.getBytes(StandardCharsets.US_ASCII);
    }

    @Override
    public void close() throws IOException {
        file.close();
    }
}
