// The result codes of the component driver, and their English texts.
#pragma once

/// Results of the component driver's operations; 0 is success. Beside these, the input operations
/// answer -1 ("no free buffer now") and -2 ("never again").
enum OmxResult : int {
    OMX_RESULT_OK = 0,
    OMX_RESULT_NO_MEDIA_SERVICE = 1,
    OMX_RESULT_NO_INTERFACE = 2,
    OMX_RESULT_NO_IOMX = 3,
    OMX_RESULT_NO_NODE = 4,
    OMX_RESULT_NO_OBSERVER = 5,
    OMX_RESULT_NO_COMPONENT = 6,
    OMX_RESULT_FILL_FAILED = 8,
    OMX_RESULT_WRONG_STATE = 11,
    OMX_RESULT_GET_PORT = 13,
    OMX_RESULT_SET_PORT = 14,
    OMX_RESULT_NO_MEMORY = 15,
    OMX_RESULT_IFRAME = 16,
    OMX_RESULT_GET_BITRATE = 17,
    OMX_RESULT_SET_BITRATE = 18,
    OMX_RESULT_COMMAND = 20,
    OMX_RESULT_EXECUTE = 21,
    OMX_RESULT_EVENT_THREAD = 22,
    OMX_RESULT_OUTPUT_THREAD = 23,
    OMX_RESULT_UNKNOWN_BUFFER = 24,
    OMX_RESULT_BUFFERS_LEFT = 26,
    OMX_RESULT_EVENT_ERROR = 27,
    OMX_RESULT_BAD_PARAMETERS = 28,
    OMX_RESULT_PICTURE_ORDER = 30,
    OMX_RESULT_FRAME_PACKING = 31,
    OMX_RESULT_TIMED_OUT = 32,  // has no text of its own
    OMX_RESULT_APPLICATION = 33,
};

/// The text of a result code, for logs: a constant string, never null. Codes without a text, 32 and
/// negative ones among them, share one that ends in a newline.
const char* resultDescription(int code);
