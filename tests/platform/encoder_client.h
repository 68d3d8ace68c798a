// A client of one encoder component, through the component host as the engine gets it: from the plug-in.
#pragma once

#include <binder/MemoryDealer.h>
#include <media/IOMX.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace zem::test {

/// What came out of the output port.
struct Output {
    std::vector<uint8_t> bytes;
    OMX_U32 flags;
    OMX_TICKS timestamp;
};

/// A structure as clients prepare it for the output port.
template <typename T>
T structOfOutputPort() {
    T fields{};
    fields.nSize = sizeof(T);
    fields.nVersion.s.nVersionMajor = 1;
    fields.nPortIndex = 1;
    return fields;
}

/// All calls on one thread. Waits end after 10 s with a failed expectation.
class EncoderClient {
  public:
    /// A node of component `name` of `profile`, with a host of its own.
    EncoderClient(const char* profile, const char* name);
    ~EncoderClient();  // frees the node in whatever state it is

    OMX_PARAM_PORTDEFINITIONTYPE port(OMX_U32 index);
    /// Asks for a size, and on port 0 for buffers of `bufferSize` bytes (0: as they are).
    android::status_t setPort(OMX_U32 index, OMX_U32 width, OMX_U32 height, OMX_U32 colorFormat,
                              OMX_U32 bufferSize = 0);
    android::status_t setRate(OMX_U32 control, OMX_U32 bitRate);
    android::status_t setPFrames(OMX_U32 count);
    android::status_t requestKeyFrame();
    android::status_t changeBitRate(OMX_U32 bitRate);

    /// Loaded to Executing, all output buffers with the component.
    void start();
    /// Sends one frame and waits until its buffer is back.
    void send(const std::vector<uint8_t>& frame, OMX_TICKS timestamp = 0, OMX_U32 flags = 0);
    /// Ends the stream; all outputs up to the one that says so, with it.
    std::vector<Output> finish(OMX_TICKS timestamp = 0);
    /// Back to Loaded.
    void stop();

    const android::sp<android::IOMX> omx;
    android::IOMX::node_id node = 0;

  private:
    class Observer;
    struct Buffer {
        android::IOMX::buffer_id id;
        android::sp<android::IMemory> memory;
    };
    void allocate(OMX_U32 index);
    void command(OMX_STATETYPE state);

    const android::sp<Observer> mObserver;
    std::vector<Buffer> mBuffers[2];
};

}  // namespace zem::test
