package com.tarvoln.zem.e2e;

import com.tarvoln.zem.JniContext;
import com.tarvoln.zem.VideoTxChannel;

/**
 * Proves that a display that dies in the middle of a session ends in refused captures, not in the process.
 * Would catch the X library's habit of exiting, a shared segment used after its server, and a capture that
 * reports old pixels as new.
 */
public final class DisplayGoneTest {
    public static void main(String[] args) throws Exception {
        VideoTxChannel.Config config = VideoTxChannel.Config.screen(320, 180);
        VideoTxChannel channel = new VideoTxChannel(config.pool());
        Check.that(channel.open(config), "opens");
        Check.same(0, channel.capture(), "capture");
        Screen.kill();
        for (int i = 0; i < 5; i++) {
            Check.same(-1, channel.capture(), "capture " + i + " of a display that is gone");
        }
        channel.close();
        new JniContext().getScreenWidth();
        // Whatever stands in for the display from now on, opening and closing stay orderly.
        if (channel.open(config)) {
            channel.capture();
        }
        channel.close();
    }
}
