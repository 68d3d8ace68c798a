package com.tarvoln.zem.e2e;

import com.tarvoln.zem.AudioRxChannel;
import com.tarvoln.zem.AudioTxChannel;
import com.tarvoln.zem.BufferPool;
import com.tarvoln.zem.JniContext;
import com.tarvoln.zem.VideoRxChannel;
import com.tarvoln.zem.VideoTxChannel;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.ByteBuffer;
import java.util.Arrays;
import java.util.List;
import java.util.Map;

/**
 * Proves that what Java declares is what the library registers: every native method can be called, and
 * with 0, nothing open and null, then buffers on the Java heap, gives the result it has for that. Would catch
 * a method that one side has and the other has not, and one that trusts an absent object or takes an address
 * from a buffer that has none.
 */
public final class NativeMethodsTest {
    /** Where it is not nothing, false or -1. */
    private static final Map<String, Object> RESULTS = Map.of("test_kivjni", 1, "getHardwareBase", 0x2002,
            "getScreenWidth", 640, "getScreenHeight", 360, "getScreenFormat", JniContext.FORMAT_RGBA_8888,
            "getAudioHookClientSampleRate", 48000, "getAudioHookClientOutputFormat", 1, "setAudioVolumeState", true,
            "isAudioHookAvailable", true, "openAudioHookClient", true);

    public static void main(String[] args) throws Exception {
        Check.same(41, call(null), "native methods");
        call(ByteBuffer.allocate(100));
    }

    /** Calls all of them, with this for each buffer; how many there are. */
    private static int call(ByteBuffer buffer) throws Exception {
        BufferPool pool = new BufferPool(1, 1, 0);
        int natives = 0;
        for (Object owner : List.of(new JniContext(), new VideoTxChannel(pool), new VideoRxChannel(pool),
                new AudioTxChannel(pool), new AudioRxChannel(pool))) {
            for (Method method : owner.getClass().getDeclaredMethods()) {
                if (Modifier.isNative(method.getModifiers())) {
                    Object[] nothing = Arrays.stream(method.getParameterTypes())
                            .map(type -> type == ByteBuffer.class ? buffer : none(type)).toArray();
                    Object expected = RESULTS.getOrDefault(method.getName(), refusal(method.getReturnType()));
                    Check.same(expected, method.invoke(owner, nothing), method.toString());
                    natives++;
                    if (method.getName().equals("openAudioHookClient")) {
                        ((AudioTxChannel) owner).stopAudioHookClient(); // or the next ones would find it open
                    }
                }
            }
        }
        return natives;
    }

    private static Object none(Class<?> type) {
        return type == boolean.class ? (Object) false : type == int.class ? (Object) 0 : null;
    }

    private static Object refusal(Class<?> type) {
        return type == boolean.class ? (Object) false : type == int.class ? (Object) (-1) : null;
    }
}
