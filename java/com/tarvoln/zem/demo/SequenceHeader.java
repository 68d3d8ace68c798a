package com.tarvoln.zem.demo;

/** Reads the size of the pictures from a stream's sequence parameter set. */
final class SequenceHeader {
    private static final int MACROBLOCK = 16;
    private static final int NO_CHROMA = 0;
    private static final int CHROMA_420 = 1;
    private static final int CHROMA_444 = 3;

    private final byte[] bytes;
    private final int end;
    private int at;
    private int bit;
    private int zeros;

    /** Picture size in pixels, as it is to be shown. */
    record Size(int width, int height) {}

    private SequenceHeader(byte[] bytes, int start, int end) {
        this.bytes = bytes;
        this.end = end;
        at = start;
    }

    /** What the first sequence parameter set in an Annex B unit says; null without a valid one. */
    static Size sizeIn(byte[] unit) {
        for (AnnexB.Nal nal : AnnexB.nals(unit)) {
            if (nal.type() == AnnexB.SEQUENCE_PARAMETERS) {
                try {
                    return new SequenceHeader(unit, nal.start() + 1, nal.end()).size();
                } catch (IllegalArgumentException e) {
                    return null; // damaged: the decoder will complain
                }
            }
        }
        return null;
    }

    private Size size() {
        int profile = bits(8);
        bits(16); // constraints and level
        golomb(); // its id
        int chroma = hasChromaFormat(profile) ? chromaFormat() : CHROMA_420;
        skipPictureOrder();
        golomb(); // reference frames
        bits(1);
        int width = (golomb() + 1) * MACROBLOCK;
        int mapUnits = golomb() + 1;
        boolean frames = bits(1) == 1;
        int height = mapUnits * MACROBLOCK * (frames ? 1 : 2);
        if (!frames) {
            bits(1);
        }
        bits(1); // direct inference
        if (bits(1) == 1) {
            int cropX = chroma == NO_CHROMA || chroma == CHROMA_444 ? 1 : 2;
            int cropY = (chroma == CHROMA_420 ? 2 : 1) * (frames ? 1 : 2);
            width -= (golomb() + golomb()) * cropX;
            height -= (golomb() + golomb()) * cropY;
        }
        if (width < 1 || height < 1 || width > 4096 || height > 4096) {
            throw new IllegalArgumentException("size");
        }
        return new Size(width, height);
    }

    private static boolean hasChromaFormat(int profile) {
        return switch (profile) {
            case 100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135 -> true;
            default -> false;
        };
    }

    private int chromaFormat() {
        int format = golomb();
        if (format == CHROMA_444) {
            bits(1);
        }
        golomb(); // bit depths
        golomb();
        bits(1);
        if (bits(1) == 1) {
            int lists = format == CHROMA_444 ? 12 : 8;
            for (int i = 0; i < lists; i++) {
                if (bits(1) == 1) {
                    skipScalingList(i < 6 ? 16 : 64);
                }
            }
        }
        return format;
    }

    private void skipScalingList(int entries) {
        int last = 8;
        int next = 8;
        for (int i = 0; i < entries; i++) {
            if (next != 0) {
                next = last + signedGolomb() & 0xFF;
            }
            last = next == 0 ? last : next;
        }
    }

    private void skipPictureOrder() {
        golomb(); // frame number bits
        int type = golomb();
        if (type == 0) {
            golomb();
        } else if (type == 1) {
            bits(1);
            golomb();
            golomb();
            for (int cycle = golomb(); cycle > 0; cycle--) {
                golomb();
            }
        }
    }

    private int bits(int count) {
        int value = 0;
        for (int i = 0; i < count; i++) {
            value = value << 1 | oneBit();
        }
        return value;
    }

    private int oneBit() {
        if (bit == 0 && zeros >= 2 && at < end && bytes[at] == 3) {
            at++; // put in so that no start code appears
            zeros = 0;
        }
        if (at >= end) {
            throw new IllegalArgumentException("cut");
        }
        int value = bytes[at] >> 7 - bit & 1;
        if (++bit == 8) {
            zeros = bytes[at] == 0 ? zeros + 1 : 0;
            bit = 0;
            at++;
        }
        return value;
    }

    private int golomb() {
        int leading = 0;
        while (oneBit() == 0) {
            if (++leading > 20) {
                throw new IllegalArgumentException("number");
            }
        }
        return (1 << leading) - 1 + bits(leading);
    }

    private int signedGolomb() {
        int code = golomb();
        return (code & 1) == 1 ? code + 1 >> 1 : -(code >> 1);
    }
}
