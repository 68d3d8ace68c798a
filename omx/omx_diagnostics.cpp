// Debugging aids: dumps of port definitions, event names and bytes.
#include <OMX_Component.h>

#include <algorithm>
#include <cstdio>

#include "base/log.h"
#include "omx/omx_parameter.h"
#include "omx/qcom_omx_interface.h"

namespace {

struct EventName {
    unsigned int value;
    const char* name;
};

constexpr EventName kEventNames[] = {
    {0, "OMX_EventCmdComplete"},
    {1, "OMX_EventError"},
    {2, "OMX_EventMark"},
    {3, "OMX_EventPortSettingsChanged"},
    {4, "OMX_EventBufferFlag"},
    {5, "OMX_EventResourcesAcquired"},
    {6, "OMX_EventComponentResumed"},
    {7, "OMX_EventDynamicResourcesAvailable"},
    {8, "OMX_EventPortFormatDetected"},
    {0x6F000000, "OMX_EventKhronosExtensions"},
    {0x7F000000, "OMX_EventVendorStartUnused"},
    {0x7FFFFFFF, "OMX_EventMax"},
};

constexpr unsigned int kRowBytes = 16;

void hexdumpRow(const unsigned char* bytes, unsigned int offset, unsigned int count) {
    char hex[kRowBytes * 4 + 1] = "";
    char text[kRowBytes + 1] = "";
    char* column = hex;
    for (unsigned int i = 0; i < count; i++) {
        const unsigned char byte = bytes[offset + i];
        column += snprintf(column, 5, " %02x ", byte);
        text[i] = byte >= 0x20 && byte <= 0x7E ? static_cast<char>(byte) : '.';
    }
    LOGD("%04x: %-64s %s", offset, hex, text);
}

}  // namespace

const char* printOmxEventType(OMX_EVENTTYPE event) {
    for (const EventName& entry : kEventNames) {
        if (entry.value == static_cast<unsigned int>(event)) {
            return entry.name;
        }
    }
    return "unknown";
}

void hexdump(void* data, unsigned int length) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (unsigned int offset = 0; offset < length; offset += kRowBytes) {
        hexdumpRow(bytes, offset, std::min(kRowBytes, length - offset));
    }
}

// One member of the dump, to the log and to standard output; the format must stay a literal.
#define DUMP_MEMBER(format, value) \
    do {                           \
        LOGE(format, value);       \
        printf(format, value);     \
    } while (false)

void QcomOmxInterface::debugPortParameters(int port) {
    auto definition = zem::preparedParameter<OMX_PARAM_PORTDEFINITIONTYPE>(static_cast<OMX_U32>(port));
    if (mOmx->getParameter(mNode, OMX_IndexParamPortDefinition, &definition, sizeof definition) !=
        android::OK) {
        LOGE("Could not get port definition for port index %d\n", port);
        return;
    }
    LOGE("OMX_PARAM_PORTDEFINITION structure:\n");
    puts("OMX_PARAM_PORTDEFINITION structure:");
    DUMP_MEMBER("    nSize member is %ld\n", static_cast<long>(definition.nSize));
    DUMP_MEMBER("    nPortIndex number is %ld\n", static_cast<long>(definition.nPortIndex));
    DUMP_MEMBER("    nBufferCountActual member is %ld\n", static_cast<long>(definition.nBufferCountActual));
    DUMP_MEMBER("    nBufferCountMin member is %ld\n", static_cast<long>(definition.nBufferCountMin));
    DUMP_MEMBER("    nBufferSize member is %ld\n", static_cast<long>(definition.nBufferSize));
    DUMP_MEMBER("    nBufferAlignment member is %ld\n", static_cast<long>(definition.nBufferAlignment));
    DUMP_MEMBER("    bEnabled member is %d\n", static_cast<int>(definition.bEnabled));
    DUMP_MEMBER("    bPopulated member is %d\n", static_cast<int>(definition.bPopulated));
    DUMP_MEMBER("    bBuffersContiguous member is %d\n", static_cast<int>(definition.bBuffersContiguous));
    DUMP_MEMBER("    nVersion  member is %ld\n", static_cast<long>(definition.nVersion.nVersion));
    DUMP_MEMBER("    eDir member is %d\n", static_cast<int>(definition.eDir));
    DUMP_MEMBER("    eDomain member is %d\n", static_cast<int>(definition.eDomain));
}
