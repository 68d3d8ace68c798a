#include "omx/result_codes.h"

namespace {

struct ResultText {
    int code;
    const char* text;
};

// Log readers in the field match on these texts, double blanks included.
constexpr ResultText kResultTexts[] = {
    {0, "No errors."},
    {1, "Could not Acquire Media Player Service"},
    {2, "Could not Create QcomOmxInterface"},
    {3, "Could not Acquire iOMX Interface"},
    {4, "Could not Allocate OpenMax Component"},
    {5, "Could not Create OmxCodecObserver"},
    {6, "OMX Component Node Not Found."},
    {7, "Buffers not registered by OMX component.  Pmem not available."},
    {8, "Error filling buffer."},
    {9, "Failed changing port setting."},
    {10, "Interface entered an invalid state."},
    {11, "Interface found to be in the incorrect state."},
    {12, "OMX State was found to be not executing."},
    {13, "Could not get port definition"},
    {14, "Could not set port definition"},
    {15, "Could not allocate memory"},
    {16, "Could not request IFrame."},
    {17, "Could not get Bitrate Parameters"},
    {18, "Could not set Bitrate Parameters"},
    {19, "Could not set Codec Configuration"},
    {20, "Could not send Command State"},
    {21, "Could not set Execution State"},
    {22, "Could not create Event Thread"},
    {23, "Could not create Output Thread"},
    {24, "Invalid buffer passed.  Not found in buffer list."},
    {25, "Buffer already owned."},
    {26, "Buffer not emptied after deallocation."},
    {27, "OMX Event Error received.  Check Logs for more details."},
    {28, "Invalid Encoding Parameters submitted."},
    {29, "Error: Could not setup surface renderer"},
    {30, "Error: Could not setup decoder picture order"},
    {31, "Error: Could not setup frame packing format"},
    {33, "Application Error.  See Logs for Details"},
};

}  // namespace

const char* resultDescription(int code) {
    for (const ResultText& entry : kResultTexts) {
        if (entry.code == code) {
            return entry.text;
        }
    }
    return "Could not define result\n";
}
