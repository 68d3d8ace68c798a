package com.tarvoln.zem.e2e;

import com.tarvoln.zem.JniContext;
import com.tarvoln.zem.VideoRxChannel;
import com.tarvoln.zem.VideoTxChannel;
import java.nio.ByteBuffer;

/**
 * Proves that nothing Java passes can do more than be refused, and that the open session goes on after
 * it. Would catch a null or heap buffer passed on as an address, a range that is checked with wrapping
 * arithmetic, a size compared with the wrong picture, and a refused open that leaves half of itself behind.
 */
public final class BadArgumentsTest {
    private static final int WIDTH = 320;
    private static final int HEIGHT = 180;
    private static final int PICTURE = WIDTH * HEIGHT * 4;
    private static final int YUV = WIDTH * HEIGHT * 3 / 2;

    public static void main(String[] args) throws Exception {
        refusedOpens();
        VideoTxChannel.Config config = VideoTxChannel.Config.screen(WIDTH, HEIGHT);
        try (VideoTxChannel channel = new VideoTxChannel(config.pool())) {
            Check.that(channel.open(config), "opens");
            Recording recording = new Recording(channel.pool());
            byteRanges(channel);
            sizes(channel);
            camera(channel);
            int before = recordedAfter(channel, recording, 1);
            Check.that(recordedAfter(channel, recording, 3) >= before + 3, "the session goes on");
        }
        oddSize();
    }

    private interface Ranged {
        int call(ByteBuffer buffer, int offset, int size);
    }

    private interface Sized {
        int call(ByteBuffer buffer, int size);
    }

    /** Every method with (buffer, offset, size), whatever stands behind it. */
    private static void byteRanges(VideoTxChannel channel) {
        VideoRxChannel receiver = new VideoRxChannel();
        ByteBuffer direct = ByteBuffer.allocateDirect(PICTURE);
        Ranged[] methods = {channel::getCapturedScreenData, channel::getVideoEncoderData,
            (b, o, s) -> receiver.decodeVideo(b, o, s, true)};
        for (int m = 0; m < methods.length; m++) {
            Ranged method = methods[m];
            Check.same(-1, method.call(null, 0, PICTURE), m + ": null");
            Check.same(-1, method.call(ByteBuffer.allocate(PICTURE), 0, PICTURE), m + ": heap");
            Check.same(-1, method.call(direct, -1, 100), m + ": negative offset");
            Check.same(-1, method.call(direct, 0, -1), m + ": negative size");
            Check.same(-1, method.call(direct, 0, PICTURE + 1), m + ": past the end");
            Check.same(-1, method.call(direct, PICTURE, 1), m + ": offset at the end");
            Check.same(-1, method.call(direct, Integer.MAX_VALUE, Integer.MAX_VALUE), m + ": sum wraps");
        }
        Sized[] sized = {channel::setCameraData, (b, s) -> refusedHeader(receiver, b, s)};
        for (int m = 0; m < sized.length; m++) {
            Check.same(-1, sized[m].call(null, 10), m + ": null");
            Check.same(-1, sized[m].call(ByteBuffer.allocate(100), 10), m + ": heap");
            Check.same(-1, sized[m].call(direct, -1), m + ": negative size");
            Check.same(-1, sized[m].call(direct, PICTURE + 1), m + ": past the end");
        }
        Check.that(channel.deleteVideoEncoderHeader(null) <= 0, "null");
        Check.that(channel.deleteVideoEncoderHeader(ByteBuffer.allocate(1000)) <= 0, "heap");
        Check.same(-1, receiver.getDecodedBitmap(null), "no bitmap");
    }

    /** The result of setEncoderHeader has no meaning: refused means that nothing is kept. */
    private static int refusedHeader(VideoRxChannel receiver, ByteBuffer buffer, int size) {
        receiver.setEncoderHeader(buffer, size);
        try (VideoTxChannel other = new VideoTxChannel()) {
            return other.deleteVideoEncoderHeader(ByteBuffer.allocateDirect(PICTURE)) == 0 ? -1 : 0;
        }
    }

    private static void sizes(VideoTxChannel channel) {
        ByteBuffer direct = ByteBuffer.allocateDirect(PICTURE + 8);
        Check.same(PICTURE, channel.getCapturedScreenData(direct, 8, PICTURE), "exactly enough");
        Check.same((byte) 0, direct.get(7), "nothing before the offset");
        Check.same((byte) 0xFF, direct.get(8 + PICTURE - 1), "alpha up to the last byte");
        Check.same(-1, channel.getCapturedScreenData(direct, 0, PICTURE - 1), "one byte less");
    }

    private static void camera(VideoTxChannel channel) {
        ByteBuffer direct = ByteBuffer.allocateDirect(YUV);
        Check.same(-1, channel.setCameraData(direct, 0), "no bytes");
        Check.same(-1, channel.setCameraData(direct, YUV - 1), "smaller than a picture");
        Check.same(0, channel.captureScreen(true), "the screen is still sent");
        Check.same(YUV, channel.setCameraData(direct, YUV), "a picture");
        Check.same(0, channel.captureScreen(true), "the camera is sent");
    }

    private static int recordedAfter(VideoTxChannel channel, Recording recording, int frames)
            throws InterruptedException {
        for (int i = 0; i < frames; i++) {
            Check.same(0, channel.capture(), "capture");
        }
        recording.takeFor(500);
        return recording.units.size();
    }

    private static void refusedOpens() {
        int gop = 30 << 8 | 1;
        int[][] refused = { // source, width, height, id
            {1, 0, HEIGHT, 2}, {1, WIDTH, 0, 2}, {1, -WIDTH, HEIGHT, 2}, {1, WIDTH, -1, 2},
            {1, Integer.MAX_VALUE, Integer.MAX_VALUE, 2}, {1, 65536, 65536, 2}, {0, WIDTH, HEIGHT, 2},
            {2, WIDTH, HEIGHT, 2}, {3, WIDTH, HEIGHT, 2}, {1, WIDTH, HEIGHT, 1}, {1, WIDTH, HEIGHT, -2}};
        try (VideoTxChannel channel = new VideoTxChannel()) {
            for (int[] row : refused) {
                channel.setVideoEncoderEnv();
                Check.that(!channel.openVideoEncoder(row[0], row[1], row[2], row[3], 1_000_000, 30, gop),
                        "opened source " + row[0] + ", " + row[1] + "x" + row[2] + ", id " + row[3]);
                Check.same(-1, channel.captureScreen(true), "nothing is open");
                channel.closeVideoEncoder();
            }
        }
        Check.same(1, new JniContext().test_kivjni(), "alive");
    }

    /** The component takes even sizes only; what the engine makes of that must stay inside its buffers. */
    private static void oddSize() {
        for (int[] size : new int[][] {{321, 180}, {320, 181}, {1, 1}}) {
            VideoTxChannel.Config config = VideoTxChannel.Config.screen(size[0], size[1]);
            try (VideoTxChannel channel = new VideoTxChannel(config.pool())) {
                boolean open = channel.open(config);
                System.out.println(size[0] + "x" + size[1] + (open ? " opens" : " is refused"));
                if (open) {
                    channel.capture();
                }
            }
        }
    }
}
