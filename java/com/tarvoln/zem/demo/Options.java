package com.tarvoln.zem.demo;

import com.tarvoln.zem.VideoTxChannel;
import java.nio.file.Path;
import java.util.HashMap;
import java.util.Map;

/**
 * What scripts/demo passes on, as {@code --name value} pairs; it has checked and completed them.
 *
 * @param seconds how long to capture
 * @param out folder for the results; exists
 * @param chip name of the chip profile
 * @param audio codec of the sound; null for none
 * @param port TCP port on the loopback at which the receiver listens
 */
record Options(double seconds, Path out, VideoTxChannel.Config config, String chip, AudioCodec audio, int port) {
    static Options parse(String[] args) {
        Map<String, String> values = pairs(args);
        VideoTxChannel.Config config = new VideoTxChannel.Config(
                number(values, "--width"), number(values, "--height"), number(values, "--bitrate"),
                number(values, "--fps"), number(values, "--gop"), VideoTxChannel.RATE_VARIABLE);
        return new Options(Double.parseDouble(text(values, "--seconds")), Path.of(text(values, "--out")),
                config, text(values, "--chip"), AudioCodec.named(text(values, "--audio")), number(values, "--port"));
    }

    static Map<String, String> pairs(String[] args) {
        Map<String, String> values = new HashMap<>();
        for (int i = 0; i + 1 < args.length; i += 2) {
            values.put(args[i], args[i + 1]);
        }
        return values;
    }

    private static int number(Map<String, String> values, String name) {
        return Integer.parseInt(text(values, name));
    }

    static String text(Map<String, String> values, String name) {
        String value = values.get(name);
        if (value == null) {
            throw new IllegalArgumentException(name + " is missing; scripts/demo passes it");
        }
        return value;
    }
}
