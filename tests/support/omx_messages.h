// The messages of a component, made by hand.
#pragma once

#include <media/IOMX.h>

namespace zem::test {

inline android::omx_message eventMessage(android::IOMX::node_id node, OMX_EVENTTYPE event, OMX_U32 data1,
                                         OMX_U32 data2) {
    android::omx_message message{};
    message.type = android::omx_message::EVENT;
    message.node = node;
    message.u.event_data = {event, data1, data2};
    return message;
}

inline android::omx_message emptiedMessage(android::IOMX::node_id node, android::IOMX::buffer_id buffer) {
    android::omx_message message{};
    message.type = android::omx_message::EMPTY_BUFFER_DONE;
    message.node = node;
    message.u.buffer_data.buffer = buffer;
    return message;
}

inline android::omx_message filledMessage(android::IOMX::node_id node, android::IOMX::buffer_id buffer,
                                          OMX_U32 length, OMX_U32 flags) {
    android::omx_message message{};
    message.type = android::omx_message::FILL_BUFFER_DONE;
    message.node = node;
    message.u.extended_buffer_data = {buffer, 0, length, flags, 0};
    return message;
}

}  // namespace zem::test
