package com.tarvoln.zem;

/**
 * Questions about the device that need no open channel. Making an instance loads the engine; instances
 * have no state and need no closing. The methods may be called from any thread.
 */
public final class JniContext {
    /** {@link #getScreenFormat()}: 4 bytes a pixel, red first in memory. */
    public static final int FORMAT_RGBA_8888 = 1;

    /** {@link #getScreenFormat()}: 2 bytes a pixel. */
    public static final int FORMAT_RGB_565 = 4;

    public JniContext() {
        EngineLibrary.load();
    }

    /**
     * The display's width in pixels, as it is now (also after a rotation). Measured by one full-screen
     * capture a call: for setting a session up, not for every frame. Not to be called while another
     * thread makes its first capture.
     */
    public native int getScreenWidth();

    /** The display's height in pixels; costs what {@link #getScreenWidth()} costs. */
    public native int getScreenHeight();

    /**
     * The display's pixel format, {@link #FORMAT_RGBA_8888} or another of the platform's numbers; costs what
     * {@link #getScreenWidth()} costs.
     */
    public native int getScreenFormat();

    /** Whether the system has the library that captures what the device plays. Does not block. */
    public native boolean isAudioHookAvailable();

    /**
     * Which family of hardware codecs the device names in its identification files. They are read anew by each
     * call.
     *
     * @return 0x2001 to 0x2004 and 0x2100 Qualcomm, 0x4001 a further family; 0 when the files name none, as
     *     on Samsung devices: their codecs are found by name when a channel opens, so 0 does not mean
     *     that there is no video
     */
    public native int getHardwareBase();

    /** A sign of life: gives 1. */
    public native int test_kivjni();
}
