// What the drivers know behind a handle of the flat driver API.
#pragma once

#include "codec/codec_user_data.h"
#include "omx/qcom_omx_interface.h"

namespace zem {

inline QcomOmxInterface* interfaceOf(void* handle) {
    return static_cast<QcomOmxInterface*>(handle);
}

/// The record registered with the component's output, null when there is none.
inline codecUserData* recordOf(void* handle) {
    return handle != nullptr ? static_cast<codecUserData*>(interfaceOf(handle)->outputUserData()) : nullptr;
}

/// Whether the codec is about to be deleted by another thread: no wait may go on.
inline bool closeIsRequested(void* handle) {
    const codecUserData* const record = recordOf(handle);
    return record != nullptr && record->closeRequested.load();
}

}  // namespace zem
