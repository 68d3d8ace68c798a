// The AAC encoder of the session: takes PCM, feeds a hardware component.
#pragma once

#include <cstdint>

#include "audio/audio_encoder.h"
#include "codec/aac_codec.h"

/// Init, encode, close and the destructor belong to one thread at a time; getData, takeGathered,
/// requestClose and the queries may come from any other while the object lives. The output is raw
/// access units, without ADTS headers, laid end to end; the first is the stream's configuration.
class omxAacEncoder final : public AudioEncoder, public zem::AacCodec {
  public:
    /// `name` null: Qualcomm's component. Others are not searched for.
    explicit omxAacEncoder(const char* name);
    ~omxAacEncoder() override;

    /// `bitrateIndex`: see getBitrate. Returns 1, also when the component could not be started, which is
    /// logged and leaves an encoder whose every call fails; 0 without memory.
    int init(int channels, int samplingRate, int bitrateIndex);
    /// Creates and starts the component. 0 or a result code.
    int omx_init(int channels, int bitrate, int samplingRate);

    /// Sends one block of PCM of at most the component's buffer size, and waits up to 500 ms for an
    /// output, whichever block it belongs to. Returns the bytes sent; 0 when no output came or the block
    /// was not sent; -1 without a component, after it failed, and for arguments that are refused. Waits
    /// without limit while the component holds all input buffers, save that requestClose() or an error ends
    /// it.
    int encode(uint8_t* pcm, int size) override;
    /// Takes all gathered units at once. Returns their bytes, or 0 when there are none or more than `max`
    /// bytes, which then stay.
    int getData(uint8_t* out, int max) override;

    /// `*sent` receives the bytes sent. 0, 33 (not sent) or the component's error.
    int omx_send_data(uint8_t* pcm, int size, int* sent);
    void omx_send_final_data() override;

    /// Bits a second of a quality index from 0 (64000) to 10 (500000); 0 for others.
    static int getBitrate(int index);
};
