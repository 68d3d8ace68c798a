// The settings of an H.264 encoder component, as OpenMAX IL clients read and write them.
#pragma once

#include "platform/linux/codecs/avc_port_formats.h"
#include "platform/linux/codecs/h264_encoder.h"

namespace zem {

/// Ports, parameters and run-time configuration of one component. What is read or written with a wrong byte
/// count or port, an unknown index or a value that the encoder has no means for gives an error status and
/// changes nothing.
class AvcEncoderParameters {
  public:
    AvcEncoderParameters(EncoderInput input, bool vendorIndices);

    void describePort(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE* definition) const;
    android::status_t setPortFormat(OMX_U32 port, const OMX_PARAM_PORTDEFINITIONTYPE& wanted);
    android::status_t getParameter(OMX_INDEXTYPE index, void* params, size_t size) const;
    android::status_t setParameter(OMX_INDEXTYPE index, const void* params, size_t size);
    android::status_t getConfig(OMX_INDEXTYPE index, void* params, size_t size) const;
    android::status_t setConfig(OMX_INDEXTYPE index, const void* params, size_t size);

    /// What the encoder is to be opened with.
    const H264Settings& settings() const { return mSettings; }
    /// Whether a key frame was asked for since the last call.
    bool takeKeyFrameRequest();

  private:
    android::status_t setPortFormatParameter(const void* params, size_t size);
    android::status_t getBitRate(void* params, size_t size) const;
    android::status_t setBitRate(const void* params, size_t size);
    android::status_t getAvc(void* params, size_t size) const;
    android::status_t setAvc(const void* params, size_t size);
    android::status_t getProfileLevel(OMX_INDEXTYPE index, void* params, size_t size) const;
    android::status_t setProfileLevel(const void* params, size_t size);
    android::status_t getNalSize(void* params, size_t size) const;
    android::status_t setNalSize(const void* params, size_t size);
    android::status_t setConfigBitRate(const void* params, size_t size);

    const AvcPortFormats mFormats;
    const bool mVendorIndices;
    H264Settings mSettings;
    OMX_VIDEO_CONTROLRATETYPE mControlRate = OMX_Video_ControlRateConstant;
    OMX_VIDEO_PARAM_AVCTYPE mAvc{};  // as last written; what the encoder follows of it stands in mSettings
    bool mKeyFrameWanted = false;
};

}  // namespace zem
