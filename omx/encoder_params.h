// What a video encoder component is created with.
#pragma once

struct encoderParams {
    int width;                  // pixels
    int height;                 // pixels
    int frameRate;              // frames a second; 0 or less keeps the component's own
    int controlRate;            // an OMX_VIDEO_CONTROLRATETYPE: 1 variable, 2 constant
    int bitRate;                // bits a second
    int iFrameInterval;         // P frames between I frames; 0 keeps the component's frame pattern
    int hardwareBase;           // a HW_BASE_* code
    const char* componentName;  // not owned, outlives the encoder; null: none
};
