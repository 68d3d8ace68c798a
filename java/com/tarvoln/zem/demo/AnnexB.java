package com.tarvoln.zem.demo;

import java.nio.ByteBuffer;

/** As much of H.264's byte stream format as the demo needs. */
final class AnnexB {
    private static final int NAL_TYPE_MASK = 0x1F;
    private static final int LAST_SLICE_TYPE = 5;

    private AnnexB() {}

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
