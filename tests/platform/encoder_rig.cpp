#include "tests/platform/encoder_rig.h"

#include <gtest/gtest.h>

#include "platform/linux/chip/chip_profile.h"

namespace zem::test {

EncoderRig::EncoderRig(const char* profile, const char* name) {
    EXPECT_TRUE(setChipProfile(profile));
    ComponentRegistry registry;
    zemRegisterComponents(registry);
    if (const ComponentFactory* factory = registry.find(name)) {
        component = factory->create();
    }
}

OMX_PARAM_PORTDEFINITIONTYPE EncoderRig::port(OMX_U32 port) const {
    OMX_PARAM_PORTDEFINITIONTYPE definition{};
    component->describePort(port, &definition);
    return definition;
}

android::status_t EncoderRig::setFormat(OMX_U32 portIndex, OMX_U32 width, OMX_U32 height, OMX_U32 colorFormat,
                                        OMX_U32 fps) {
    OMX_PARAM_PORTDEFINITIONTYPE definition = port(portIndex);
    definition.format.video.nFrameWidth = width;
    definition.format.video.nFrameHeight = height;
    definition.format.video.xFramerate = fps << 16;
    definition.format.video.eColorFormat = static_cast<OMX_COLOR_FORMATTYPE>(colorFormat);
    return component->setPortFormat(portIndex, definition);
}

android::status_t EncoderRig::setBitRate(OMX_U32 control, OMX_U32 bitRate) {
    auto fields = structOfOutputPort<OMX_VIDEO_PARAM_BITRATETYPE>();
    fields.eControlRate = static_cast<OMX_VIDEO_CONTROLRATETYPE>(control);
    fields.nTargetBitrate = bitRate;
    return component->setParameter(OMX_IndexParamVideoBitrate, &fields, sizeof(fields));
}

android::status_t EncoderRig::setPFrames(OMX_U32 count) {
    auto fields = structOfOutputPort<OMX_VIDEO_PARAM_AVCTYPE>();
    EXPECT_EQ(component->getParameter(OMX_IndexParamVideoAvc, &fields, sizeof(fields)), android::OK);
    EXPECT_GT(fields.nPFrames, 0u);
    fields.nPFrames = count;
    fields.nBFrames = 0;
    return component->setParameter(OMX_IndexParamVideoAvc, &fields, sizeof(fields));
}

android::status_t EncoderRig::requestKeyFrame() {
    OMX_CONFIG_INTRAREFRESHVOPTYPE fields{};  // size and version stay unfilled, as the engine leaves them
    fields.nPortIndex = kOutputPort;
    fields.IntraRefreshVOP = OMX_TRUE;
    return component->setConfig(OMX_IndexConfigVideoIntraVOPRefresh, &fields, sizeof(fields));
}

android::status_t EncoderRig::changeBitRate(OMX_U32 bitRate) {
    OMX_VIDEO_CONFIG_BITRATETYPE fields;
    memset(&fields, 0xA5, sizeof(fields));  // read with a header that was never filled
    if (component->getConfig(OMX_IndexConfigVideoBitrate, &fields, sizeof(fields)) != android::OK) {
        return android::UNKNOWN_ERROR;
    }
    fields.nPortIndex = kOutputPort;
    fields.nEncodeBitrate = bitRate;
    return component->setConfig(OMX_IndexConfigVideoBitrate, &fields, sizeof(fields));
}

void EncoderRig::send(const std::vector<uint8_t>& frame, OMX_TICKS timestamp, OMX_U32 flags) {
    Lent& input = mInputs.emplace_back();
    input.memory = frame;
    input.memory.shrink_to_fit();
    input.buffer = {input.memory.data(), input.memory.size(), flags, timestamp};
    lendOutputs();
    component->process(*this);
    EXPECT_TRUE(mInputs.empty());
}

// Two at all times: the configuration and a unit.
void EncoderRig::lendOutputs() {
    while (mOutputs.size() < 2) {
        Lent& output = mOutputs.emplace_back();
        output.memory.resize(outputRoom != 0 ? outputRoom : port(kOutputPort).nBufferSize);
        output.buffer = {output.memory.data(), output.memory.size(), 0, 0};
    }
}

const LentBuffer* EncoderRig::take(std::deque<Lent>& queue) {
    for (Lent& lent : queue) {
        if (!lent.taken) {
            lent.taken = true;
            return &lent.buffer;
        }
    }
    return nullptr;
}

const LentBuffer* EncoderRig::takeInput() {
    return take(mInputs);
}
const LentBuffer* EncoderRig::takeOutput() {
    return take(mOutputs);
}

void EncoderRig::returnInput(const LentBuffer* buffer) {
    ASSERT_TRUE(!mInputs.empty() && buffer == &mInputs.front().buffer);
    mInputs.pop_front();
}

void EncoderRig::returnOutput(const LentBuffer* buffer, size_t length, OMX_U32 flags, OMX_TICKS timestamp) {
    ASSERT_TRUE(!mOutputs.empty() && buffer == &mOutputs.front().buffer);
    ASSERT_LE(length, buffer->size);
    outputs.push_back({{buffer->data, buffer->data + length}, flags, timestamp});
    mOutputs.pop_front();
}

}  // namespace zem::test
