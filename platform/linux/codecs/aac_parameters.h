// The settings of an AAC encoder or decoder component, as OpenMAX IL clients read and write them.
#pragma once

#include "platform/linux/codecs/aac_format.h"
#include "platform/linux/omx_host/component.h"

namespace zem {

/// Ports and parameters of one component. What is read or written with a wrong byte count or port, an unknown
/// index or a value that the codec has no means for gives an error status and changes nothing.
///
/// Rate and channels are those of the PCM port; what the AAC parameters say of them is not looked at.
class AacParameters {
  public:
    /// `pcmPort`: kInputPort for an encoder, kOutputPort for a decoder.
    explicit AacParameters(OMX_U32 pcmPort) : mPcmPort(pcmPort) {}

    void describePort(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE* definition) const;
    android::status_t setPortFormat(OMX_U32 port, const OMX_PARAM_PORTDEFINITIONTYPE& wanted);
    android::status_t getParameter(OMX_INDEXTYPE index, void* params, size_t size) const;
    android::status_t setParameter(OMX_INDEXTYPE index, const void* params, size_t size);

    const AudioFormat& format() const { return mFormat; }
    /// What a decoder's stream has.
    void setFormat(const AudioFormat& format) { mFormat = format; }
    /// In bits a second, as written: 0 leaves it to the encoder.
    uint32_t bitRate() const { return mBitRate; }

  private:
    OMX_AUDIO_CODINGTYPE codingOf(OMX_U32 port) const {
        return port == mPcmPort ? OMX_AUDIO_CodingPCM : OMX_AUDIO_CodingAAC;
    }
    android::status_t checkCoding(OMX_U32 port, const OMX_AUDIO_CODINGTYPE& coding) const;
    android::status_t getPcm(void* params, size_t size) const;
    android::status_t setPcm(const void* params, size_t size);
    android::status_t getAac(void* params, size_t size) const;
    android::status_t setAac(const void* params, size_t size);

    const OMX_U32 mPcmPort;
    AudioFormat mFormat{44100, 2};  // until a client says otherwise
    uint32_t mBitRate = 0;
};

}  // namespace zem
