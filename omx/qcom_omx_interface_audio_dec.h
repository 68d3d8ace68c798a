// A hardware AAC decoder component.
#pragma once

#include "omx/audio_enc_params.h"
#include "omx/qcom_omx_event_interface.h"

/// AAC goes in through sendInputData() and sendEndOfInputFlag(); PCM comes out through the output
/// callback. After a change of the output port every output is delivered. Results are those of
/// result_codes.h.
class QcomOmxInterfaceAudioDec : public QcomOmxEventInterface {
  public:
    /// Makes the decoder, connects it and configures both ports; the component is left in Loaded.
    /// Failures are answered as by QcomOmxInterfaceAudioEnc::Create.
    static int Create(QcomOmxInterfaceAudioDec** decoder, audioEncParams* params);

    QcomOmxInterfaceAudioDec();
    ~QcomOmxInterfaceAudioDec() override;

    /// Eight buffers a port, 8192 bytes of AAC in and 24576 bytes of PCM out. 0, 13 or 14.
    int setupPortParamsForAacDec();
    /// The PCM that comes out. 0, 17 or 18.
    int setupAudioProfile(int channels, int bitsPerSample, int sampleRate);
    /// A port's coding, an OMX_AUDIO_CODINGTYPE; Create() does not ask for it. 0, 13 or 14.
    int setupPortEncodingType(int port, int audioFormat);

  private:
    bool configure(const audioEncParams& params);
};
