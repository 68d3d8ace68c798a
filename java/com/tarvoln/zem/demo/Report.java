package com.tarvoln.zem.demo;

import java.util.Locale;

/**
 * What a run came to.
 *
 * @param framesCaptured pictures given to the encoder: those of the loop and the one with which the
 *     engine primes the encoder when it opens
 * @param unitsDelivered units with a picture that Java received
 * @param configurationUnits units without one that Java received: the stream's configuration
 * @param fps frames a second in steady state, see {@link CaptureLoop#framesPerSecond()}
 * @param audio the sound's figures; null when there was none
 * @param receiver the other end's figures, a JSON object; null when it did not report
 */
record Report(Options options, double seconds, int framesCaptured, int unitsDelivered, int configurationUnits,
        long bytes, double fps, Samples capture, Samples encodeCall, Samples delivery, long poolExhausted,
        AudioFigures audio, String receiver) {
    double kbps() {
        return seconds > 0 ? bytes * 8 / 1000.0 / seconds : 0;
    }

    String json() {
        return String.format(Locale.ROOT, """
                {
                  "seconds": %.3f,
                  "width": %d,
                  "height": %d,
                  "chip": "%s",
                  "frames_captured": %d,
                  "units_delivered": %d,
                  "configuration_units": %d,
                  "bytes": %d,
                  "fps": %.2f,
                  "kbps": %.1f,
                  "capture_ms": %s,
                  "encode_call_ms": %s,
                  "delivery_ms": %s,
                  "pool_exhausted": %d,
                  "audio": %s,
                  "receiver": %s
                }
                """,
                seconds, options.config().width(), options.config().height(), options.chip(), framesCaptured,
                unitsDelivered, configurationUnits, bytes, fps, kbps(), capture.json(), encodeCall.json(),
                delivery.json(), poolExhausted, nested(audio == null ? null : audio.json()), nested(receiver));
    }

    private static String nested(String json) {
        return json == null ? "null" : json.strip().replace("\n", "\n  ");
    }

    String text() {
        StringBuilder text = new StringBuilder();
        text.append(String.format(Locale.ROOT, "%d of %d frames of %dx%d delivered in %.1f s (%s)%n",
                unitsDelivered, framesCaptured, options.config().width(), options.config().height(), seconds,
                options.chip()));
        text.append(String.format(Locale.ROOT, "  %.1f frames a second, %.0f kbit/s%n", fps, kbps()));
        text.append(line("screen capture", capture));
        text.append(line("capture and encode call", encodeCall));
        text.append(line("screen to Java's pool", delivery));
        if (poolExhausted > 0) {
            text.append(String.format("  %d units were dropped: no free buffer in the pool%n", poolExhausted));
        }
        text.append(audio == null ? "" : audio.text());
        return text.toString();
    }

    private static String line(String what, Samples samples) {
        return samples.count() == 0
                ? ""
                : String.format(Locale.ROOT, "  %-24s %6.1f ms median, %6.1f ms 95th percentile%n", what,
                        samples.percentile(50), samples.percentile(95));
    }
}
