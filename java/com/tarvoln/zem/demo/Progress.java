package com.tarvoln.zem.demo;

import java.util.Locale;

/** The line that shows how it goes: rewritten in place on a terminal, else a new one every second. */
final class Progress {
    private static final long TERMINAL_NANOS = 200_000_000;
    private static final long LINE_NANOS = 1_000_000_000;

    private final boolean terminal;
    private final UnitWriter writer;
    private long nextNanos;

    Progress(boolean terminal, UnitWriter writer) {
        this.terminal = terminal;
        this.writer = writer;
        nextNanos = interval();
    }

    void update(int frames, long elapsedNanos) {
        if (elapsedNanos < nextNanos) {
            return;
        }
        nextNanos = elapsedNanos + interval();
        double seconds = elapsedNanos / 1e9;
        String line = String.format(Locale.ROOT, "%5d frames  %5.1f fps  %7.0f kbit/s", frames,
                frames / seconds, writer.bytes() * 8 / 1000.0 / seconds);
        System.out.print(terminal ? "\r" + line : line + "\n");
        System.out.flush();
    }

    /** Leaves the terminal's cursor on a line of its own. */
    void end() {
        if (terminal) {
            System.out.println();
        }
    }

    private long interval() {
        return terminal ? TERMINAL_NANOS : LINE_NANOS;
    }
}
