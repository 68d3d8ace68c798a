package com.tarvoln.zem.demo;

import com.tarvoln.zem.AudioTxChannel;
import com.tarvoln.zem.BufferPool;
import com.tarvoln.zem.JniContext;

/** Tells whether the machine is playing sound now. Started by scripts/demo. */
public final class Probe {
    private Probe() {}

    public static void main(String[] args) {
        if (!new JniContext().isAudioHookAvailable()) {
            System.out.println("There is no library here that captures sound.");
            return;
        }
        AudioTxChannel channel = new AudioTxChannel(new BufferPool(1, 1, 0)); // nothing is delivered
        System.out.println(channel.isAdudioPlaying() ? "Sound is playing." : "No sound is playing.");
    }
}
