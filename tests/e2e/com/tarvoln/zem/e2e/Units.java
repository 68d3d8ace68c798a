package com.tarvoln.zem.e2e;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/** Cuts a stream whose pictures are one slice each into units: a slice and what goes before it. */
final class Units {
    private Units() {}

    static List<byte[]> of(byte[] stream) {
        List<byte[]> units = new ArrayList<>();
        int begin = 0;
        boolean slice = false;
        for (int i = 0; i + 3 < stream.length; i++) {
            if (stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1) {
                int code = i > 0 && stream[i - 1] == 0 ? i - 1 : i;
                if (slice) {
                    units.add(Arrays.copyOfRange(stream, begin, code));
                    begin = code;
                }
                int type = stream[i + 3] & 0x1F;
                slice = type == 1 || type == 5;
            }
        }
        units.add(Arrays.copyOfRange(stream, begin, stream.length));
        return units;
    }
}
