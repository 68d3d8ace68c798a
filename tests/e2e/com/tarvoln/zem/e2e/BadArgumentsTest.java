package com.tarvoln.zem.e2e;

import com.tarvoln.zem.BufferPool;
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
            Check.same(0, channel.capture(), "capture");
            screenBuffers(channel);
            camera(channel);
            Check.same(0, channel.capture(), "the session goes on");
            // The configuration, the picture that opening sends, screen and camera.
            new Recording(channel.pool()).takeUntil(4);
        }
    }

    private static void screenBuffers(VideoTxChannel channel) {
        ByteBuffer direct = ByteBuffer.allocateDirect(8 + PICTURE);
        Check.same(-1, channel.getCapturedScreenData(null, 0, PICTURE), "null");
        Check.same(-1, channel.getCapturedScreenData(ByteBuffer.allocate(PICTURE), 0, PICTURE), "heap");
        int[][] ranges = {{-1, PICTURE}, {0, -1}, {0, PICTURE + 9}, {9, PICTURE}, {0, PICTURE - 1},
            {Integer.MAX_VALUE, Integer.MAX_VALUE}};
        for (int[] range : ranges) {
            Check.same(-1, channel.getCapturedScreenData(direct, range[0], range[1]),
                    "offset " + range[0] + ", size " + range[1]);
        }
        Check.same(PICTURE, channel.getCapturedScreenData(direct, 8, PICTURE), "exactly enough");
        Check.same((byte) 0, direct.get(7), "nothing before the offset");
        Check.same((byte) 0xFF, direct.get(8 + PICTURE - 1), "alpha up to the last byte");
    }

    private static void camera(VideoTxChannel channel) {
        ByteBuffer direct = ByteBuffer.allocateDirect(YUV);
        Check.same(-1, channel.setCameraData(ByteBuffer.allocate(YUV), YUV), "heap");
        Check.same(-1, channel.setCameraData(direct, YUV - 1), "smaller than a picture");
        Check.same(YUV, channel.setCameraData(direct, YUV), "a picture");
    }

    private static void refusedOpens() {
        int[][] refused = { // source, width, height, id
            {1, 0, HEIGHT, 2}, {1, WIDTH, 0, 2}, {1, -WIDTH, HEIGHT, 2}, {1, WIDTH, -1, 2},
            {1, Integer.MAX_VALUE, Integer.MAX_VALUE, 2}, {1, 65536, 65536, 2}, {0, WIDTH, HEIGHT, 2},
            {2, WIDTH, HEIGHT, 2}, {3, WIDTH, HEIGHT, 2}, {1, WIDTH, HEIGHT, 1}, {1, WIDTH, HEIGHT, -2},
            {1, WIDTH + 1, HEIGHT, 2}, {1, WIDTH, HEIGHT + 1, 2}, {1, 1, 1, 2}};
        try (VideoTxChannel channel = new VideoTxChannel(new BufferPool(1, 1, 0))) {
            for (int[] row : refused) {
                channel.setVideoEncoderEnv();
                Check.that(!channel.openVideoEncoder(row[0], row[1], row[2], row[3], 1_000_000, 30, 30 << 8 | 1),
                        "opened source " + row[0] + ", " + row[1] + "x" + row[2] + ", id " + row[3]);
                Check.same(-1, channel.captureScreen(true), "nothing is open");
                channel.closeVideoEncoder();
            }
        }
    }
}
