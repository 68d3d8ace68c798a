// What an AAC encoder or decoder component is created with.
#pragma once

struct audioEncParams {
    int channels;               // 1 = mono
    int bitRate;                // bits a second of the AAC; encoders only
    int sampleRate;             // samples a second
    int bitsPerSample;          // of the PCM
    const char* componentName;  // not owned, outlives the component; null: none
};
