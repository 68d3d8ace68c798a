package com.tarvoln.zem.e2e;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;

/** A standard player of the outside world: ffprobe and ffmpeg. */
final class Player {
    private Player() {}

    /** What ffprobe counts: {@code "WIDTH,HEIGHT,FRAMES"}. */
    static String probe(Path h264) throws IOException, InterruptedException {
        return new String(run("ffprobe", "-v", "error", "-count_frames", "-select_streams", "v:0",
                "-show_entries", "stream=width,height,nb_read_frames", "-of", "csv=p=0", h264.toString()),
                StandardCharsets.US_ASCII).trim();
    }

    /** All frames as I420 one behind the other; fails at the first thing that is not right in the stream. */
    static byte[] decode(Path h264) throws IOException, InterruptedException {
        return run("ffmpeg", "-v", "error", "-xerror", "-err_detect", "explode", "-f", "h264", "-i",
                h264.toString(), "-f", "rawvideo", "-");
    }

    /** Writes a stream of a moving picture: a key frame, then frames that build on each other, a slice each. */
    static void make(Path h264, int width, int height, int frames) throws IOException, InterruptedException {
        run("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc2=size=" + width + "x" + height, "-frames:v",
                Integer.toString(frames), "-pix_fmt", "yuv420p", "-c:v", "libx264", "-preset", "ultrafast", "-bf", "0",
                "-x264-params", "slices=1:sliced-threads=0:threads=1", "-f", "h264", h264.toString());
    }

    private static byte[] run(String... command) throws IOException, InterruptedException {
        ProcessBuilder builder = new ProcessBuilder(command).redirectError(ProcessBuilder.Redirect.INHERIT);
        builder.environment().remove("LD_PRELOAD");
        Process process = builder.start();
        byte[] output = process.getInputStream().readAllBytes();
        Check.same(0, process.waitFor(), String.join(" ", command) + ": exit code");
        return output;
    }
}
