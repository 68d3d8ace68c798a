// Drives an encoder component of a chip profile as the component host does, on one thread, and makes frames
// for it.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "platform/linux/omx_host/component.h"
#include "tests/platform/test_picture.h"

namespace zem::test {

/// What came out of the output port.
struct Output {
    std::vector<uint8_t> bytes;
    OMX_U32 flags;
    OMX_TICKS timestamp;
};

class EncoderRig final : public BufferIo {
  public:
    /// A component of `profile`, the one that `name` names. Null component when there is none.
    EncoderRig(const char* profile, const char* name);

    android::status_t setFormat(OMX_U32 port, OMX_U32 width, OMX_U32 height, OMX_U32 colorFormat,
                                OMX_U32 fps = 30);
    OMX_PARAM_PORTDEFINITIONTYPE port(OMX_U32 port) const;
    android::status_t setBitRate(OMX_U32 control, OMX_U32 bitRate);
    android::status_t setPFrames(OMX_U32 count);
    android::status_t requestKeyFrame();
    android::status_t changeBitRate(OMX_U32 bitRate);

    /// Lends the component `frame` (a copy of exactly its size) and an output buffer as large as the port
    /// asks for, and lets it work; after that all inputs must be back.
    void send(const std::vector<uint8_t>& frame, OMX_TICKS timestamp = 0, OMX_U32 flags = 0);

    const LentBuffer* takeInput() override;
    void returnInput(const LentBuffer* buffer) override;
    const LentBuffer* takeOutput() override;
    void returnOutput(const LentBuffer* buffer, size_t length, OMX_U32 flags, OMX_TICKS timestamp) override;
    void portSettingsChanged() override {}
    void raiseError(OMX_ERRORTYPE error) override { errors.push_back(error); }

    std::unique_ptr<Component> component;
    std::vector<Output> outputs;
    std::vector<OMX_ERRORTYPE> errors;
    size_t outputRoom = 0;  // of each output buffer; 0: what the port asks for

  private:
    struct Lent {
        LentBuffer buffer;
        std::vector<uint8_t> memory;
        bool taken = false;
    };
    static const LentBuffer* take(std::deque<Lent>& queue);
    void lendOutputs();

    std::deque<Lent> mInputs;
    std::deque<Lent> mOutputs;
};

/// A structure as clients prepare it for the output port.
template <typename T>
T structOfOutputPort() {
    T fields{};
    fields.nSize = sizeof(T);
    fields.nVersion.s.nVersionMajor = 1;
    fields.nPortIndex = kOutputPort;
    return fields;
}

}  // namespace zem::test
