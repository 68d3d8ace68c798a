// The AAC decoder of the session: takes received units, feeds a hardware component.
#pragma once

#include <atomic>
#include <cstdint>

#include "audio/audio_decoder.h"
#include "codec/aac_codec.h"

/// Init, decode, close and the destructor belong to one thread at a time; getData, takeGathered,
/// requestClose and the queries may come from any other while the object lives.
class omxAacDecoder final : public AudioDecoder, public zem::AacCodec {
  public:
    /// `name` null: Qualcomm's component. Others are not searched for.
    explicit omxAacDecoder(const char* name);
    ~omxAacDecoder() override;

    /// `bitrate` is only logged. Returns 1, also when the component could not be started, which is logged
    /// and leaves a decoder whose every call fails; 0 without memory.
    int init(int channels, int samplingRate, int bitrate);
    /// Creates and starts the component. 0 or a result code.
    int omx_init(int channels, int samplingRate);

    /// Sends units laid end to end and waits up to 500 ms for an output, whichever input it belongs to.
    /// Returns the bytes sent; 0 when no output came; -1 without a component and for arguments that are
    /// refused. When the component holds all input buffers, waits for one without limit, save that
    /// requestClose() or an error ends it; these bytes are then lost.
    int decode(uint8_t* aac, int size) override;
    /// Takes all gathered PCM at once. Returns its bytes, or 0 when there is none or more than `max`
    /// bytes, which then stay.
    int getData(uint8_t* out, int max) override;
    /// As given at init; -1 before.
    int getSamplingRate() override;
    int getChannelCount() override;

    /// `*consumed` receives `size`. 0 or the component's error.
    int omx_send_data(uint8_t* aac, int size, int* consumed);
    void omx_send_final_data() override;

  private:
    std::atomic<int> mChannels{-1};
    std::atomic<int> mSamplingRate{-1};
};
