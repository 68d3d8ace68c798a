// What a video decoder component is created with.
#pragma once

struct decoderParams {
    int hardwareBase;           // a HW_BASE_* code
    const char* componentName;  // not owned, outlives the decoder; null: none
};
