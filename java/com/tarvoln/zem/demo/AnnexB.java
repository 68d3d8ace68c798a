package com.tarvoln.zem.demo;

import java.nio.ByteBuffer;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/** As much of H.264's byte stream format as the demo needs. */
public final class AnnexB {
    static final int SEQUENCE_PARAMETERS = 7;

    private static final int NAL_TYPE_MASK = 0x1F;
    private static final int LAST_SLICE_TYPE = 5;

    /** Types from supplemental information to the delimiter begin a unit when they follow a picture. */
    private static final int FIRST_LEADING_TYPE = 6;
    private static final int LAST_LEADING_TYPE = 9;

    private AnnexB() {}

    /**
     * One NAL unit in a stream.
     *
     * @param code where its start code begins
     * @param start its first byte, behind the start code
     * @param end behind its last byte
     */
    record Nal(int code, int start, int end, int type) {
        boolean isSlice() {
            return type >= 1 && type <= LAST_SLICE_TYPE;
        }
    }

    static List<Nal> nals(byte[] stream) {
        List<Nal> nals = new ArrayList<>();
        int code = -1;
        int start = 0;
        for (int i = 0; i + 3 < stream.length; i++) {
            if (stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1) {
                int next = i > 0 && stream[i - 1] == 0 ? i - 1 : i;
                if (code >= 0) {
                    nals.add(new Nal(code, start, next, stream[start] & NAL_TYPE_MASK));
                }
                code = next;
                start = i + 3;
                i += 2;
            }
        }
        if (code >= 0) {
            nals.add(new Nal(code, start, stream.length, stream[start] & NAL_TYPE_MASK));
        }
        return nals;
    }

    /** A stream's access units: each has one picture and what goes before it. */
    public static List<byte[]> accessUnits(byte[] stream) {
        List<byte[]> units = new ArrayList<>();
        int begin = -1;
        boolean picture = false;
        for (Nal nal : nals(stream)) {
            // A slice that begins with macroblock 0 has the number's one-bit code first.
            boolean firstSlice = nal.isSlice() && nal.start() + 1 < nal.end() && stream[nal.start() + 1] < 0;
            boolean leading = nal.type() >= FIRST_LEADING_TYPE && nal.type() <= LAST_LEADING_TYPE;
            if (picture && (firstSlice || leading)) {
                units.add(Arrays.copyOfRange(stream, begin, nal.code()));
                begin = -1;
                picture = false;
            }
            begin = begin < 0 ? nal.code() : begin;
            picture |= nal.isSlice();
        }
        if (begin >= 0) {
            units.add(Arrays.copyOfRange(stream, begin, stream.length));
        }
        return units;
    }

    /** Whether a unit has a coded picture in it; the stream's configuration, which goes before, has none. */
    static boolean hasPicture(ByteBuffer unit) {
        int zeros = 0;
        for (int i = unit.position(); i < unit.limit() - 1; i++) {
            byte b = unit.get(i);
            if (b == 1 && zeros >= 2) {
                int type = unit.get(i + 1) & NAL_TYPE_MASK;
                if (type >= 1 && type <= LAST_SLICE_TYPE) {
                    return true;
                }
            }
            zeros = b == 0 ? zeros + 1 : 0;
        }
        return false;
    }
}
