package com.tarvoln.zem.e2e;

import android.graphics.Bitmap;
import com.tarvoln.zem.AudioRxChannel;
import com.tarvoln.zem.AudioTxChannel;
import com.tarvoln.zem.JniContext;
import com.tarvoln.zem.VideoRxChannel;
import com.tarvoln.zem.VideoTxChannel;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.ByteBuffer;
import java.util.HashMap;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;

/**
 * Proves that the library loads and that every native method of the five classes is there and gives, with
 * nothing open, the result it has for that. Would catch a method left out of the tables or registered with
 * another signature, a table in a wrong order of arguments, and a method that trusts an absent object.
 */
public final class NativeMethodsTest {
    private static final Object ANY = new Object();
    private static final ByteBuffer BUFFER = ByteBuffer.allocateDirect(4096);

    private final Map<String, Method> natives = new HashMap<>();
    private final Set<String> called = new HashSet<>();

    public static void main(String[] args) throws Exception {
        new NativeMethodsTest().run();
    }

    private void run() throws Exception {
        for (Object owner : List.of(new JniContext(), new VideoTxChannel(), new VideoRxChannel(),
                new AudioTxChannel(), new AudioRxChannel())) {
            collect(owner.getClass());
            switch (owner.getClass().getSimpleName()) {
                case "JniContext" -> context(owner);
                case "VideoTxChannel" -> videoTransmit(owner);
                case "VideoRxChannel" -> videoReceive(owner);
                case "AudioTxChannel" -> audioTransmit(owner);
                default -> audioReceive(owner);
            }
        }
        Check.same(41, natives.size(), "native methods");
        Check.same(natives.keySet(), called, "methods called");
    }

    private void context(Object it) throws Exception {
        call(it, "test_kivjni", 1);
        call(it, "getHardwareBase", 0x2002);
        call(it, "getScreenWidth", 640);
        call(it, "getScreenHeight", 360);
        call(it, "getScreenFormat", JniContext.FORMAT_RGBA_8888);
        call(it, "isAudioHookAvailable", ANY);
    }

    private void videoTransmit(Object it) throws Exception {
        call(it, "closeVideoEncoder", null);
        call(it, "setMaxCaptureLayer", null, 7);
        call(it, "captureScreen", -1, true);
        call(it, "captureScreen", -1, false);
        call(it, "setCameraData", -1, BUFFER, 1024);
        call(it, "getCapturedScreenData", -1, BUFFER, 0, 4096);
        call(it, "getVideoEncoderData", -1, BUFFER, 0, 4096);
        call(it, "deleteVideoEncoderHeader", 0, BUFFER);
        call(it, "openVideoEncoder", false, 2, 640, 360, 2, 1_000_000, 30, 60 << 8 | 1);
        call(it, "openVideoEncoder", false, 1, 640, 360, 3, 1_000_000, 30, 60 << 8 | 1);
        call(it, "createVideoEncoderHeader", false, 2, 2, 640, 360, 1_000_000, 30, 60 << 8 | 1);
        call(it, "setVideoEncoderEnv", null);
        call(it, "closeVideoEncoder", null);
    }

    private void videoReceive(Object it) throws Exception {
        call(it, "closeVideoDecoder", null);
        call(it, "openVideoDecoder", false, 1, 640, 360);
        call(it, "decodeVideo", -1, BUFFER, 0, 100, true);
        call(it, "getDecodedBitmap", -1, (Bitmap) null);
        call(it, "getDecodedVideoWidth", -1);
        call(it, "getDecodedVideoHeight", -1);
        call(it, "setEncoderHeader", ANY, BUFFER, 32);
        call(it, "setVideoDecoderEnv", null);
        call(it, "closeVideoDecoder", null);
    }

    private void audioTransmit(Object it) throws Exception {
        call(it, "closeAudioEncoder", null);
        call(it, "stopAudioHookClient", null);
        call(it, "startAudioHookClient", false);
        call(it, "getAudioHookClientSampleRate", 48000);
        call(it, "getAudioHookClientOutputFormat", 1);
        call(it, "encodeAudio", -1, BUFFER, 0, 4096, true);
        call(it, "getAudioEncoderData", -1, BUFFER, 0, 4096);
        call(it, "setAudioVolumeState", true, 0, 0);
        call(it, "openAudioEncoder", false, 5, 2, 44100, 4);
        call(it, "openAudioHookClient", ANY);
        call(it, "stopAudioHookClient", null);
        call(it, "isAdudioPlaying", false);
        call(it, "closeAudioEncoder", null);
    }

    private void audioReceive(Object it) throws Exception {
        call(it, "closeAudioDecoder", null);
        call(it, "openAudioDecoder", false, 5, 2, 44100, 4);
        call(it, "decodeAudio", -1, BUFFER, 0, 4096, true);
        call(it, "getAudioSamplingRate", -1);
        call(it, "getAudioChannelCount", -1);
        call(it, "getAudioDecoderData", -1, BUFFER, 0, 4096);
        call(it, "closeAudioDecoder", null);
    }

    private void collect(Class<?> owner) {
        for (Method method : owner.getDeclaredMethods()) {
            if (Modifier.isNative(method.getModifiers())) {
                natives.put(owner.getSimpleName() + "." + method.getName(), method);
            }
        }
    }

    private void call(Object it, String name, Object expected, Object... arguments) throws Exception {
        String key = it.getClass().getSimpleName() + "." + name;
        Method method = natives.get(key);
        Check.that(method != null, key + " is not declared native");
        Object got;
        try {
            got = method.invoke(it, arguments);
        } catch (InvocationTargetException e) {
            throw new AssertionError(key, e.getCause());
        }
        called.add(key);
        if (expected != ANY) {
            Check.same(expected, got, key);
        }
    }
}
