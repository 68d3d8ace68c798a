// A hardware AAC encoder component.
#pragma once

#include "omx/audio_enc_params.h"
#include "omx/qcom_omx_interface.h"

/// PCM goes in through reserveInputBuffer() and sendInputBuffer(); raw access units, without ADTS
/// headers, come out through the output callback. Events are only logged. Results are those of
/// result_codes.h.
class QcomOmxInterfaceAudioEnc : public QcomOmxInterface {
  public:
    /// Makes the encoder, connects it and configures both ports; the component is left in Loaded. A
    /// set-up that fails is logged and answered with 0: callers look at `*encoder`, which is then null, as
    /// after all failures but one. Null parameters give 28 and an encoder without a component, which the
    /// caller deletes.
    static int Create(QcomOmxInterfaceAudioEnc** encoder, audioEncParams* params);

    QcomOmxInterfaceAudioEnc();
    ~QcomOmxInterfaceAudioEnc() override;

    /// Selects AAC on a port, whatever is asked for. 0 or 14.
    int setupPortEncodingType(int port, int audioFormat);
    /// Signed, interleaved, linear PCM. 0, 17 or 18.
    int setupAudioPCMProfile(int port, int channels, int bitsPerSample, int sampleRate);
    /// AAC-LC in raw access units. 0, 17 or 18.
    int setupAudioAACProfile(int port, int channels, int bitRate, int sampleRate);

  private:
    bool configure(const audioEncParams& params);
    bool configurePorts(const audioEncParams& params);
};
