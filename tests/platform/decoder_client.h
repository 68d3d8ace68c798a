// A client of one decoder component, through the component host as the engine gets it: from the plug-in.
#pragma once

#include <binder/MemoryDealer.h>
#include <media/IOMX.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "tests/platform/coded_stream.h"
#include "tests/platform/decoded_addressing.h"

namespace zem::test {

/// A decoder of a chip, and what is asked of it.
struct DecoderChip {
    const char* profile;
    const char* decoder;
    Layout layout;
    bool announcesFirst;  // the first picture's size, whatever it is
    bool vendorIndices;
};

constexpr DecoderChip kDecoderChips[] = {
    {"qcom", "OMX.qcom.video.decoder.avc", Layout::PaddedRows, false, true},
    {"qcom-tiled", "OMX.qcom.video.decoder.avc", Layout::Tiles, true, true},
    {"sec", "OMX.SEC.avc.dec", Layout::Planes, true, false},
    {"exynos", "OMX.Exynos.avc.dec", Layout::Planes, true, false},
    {"tarn", "OMX.tarn.video.decoder.avc", Layout::Planes, true, false},
    {"qcom", "OMX.google.avc.decoder", Layout::Planes, true, false},
};

/// A picture, or the end of the stream.
struct Decoded {
    std::vector<uint8_t> bytes;
    OMX_U32 flags;
    OMX_TICKS timestamp;
};

/// All calls on one thread. Waits end after 20 s with a failed expectation. An error event fails the test.
class DecoderClient {
  public:
    /// A node of the chip's decoder, with a host of its own.
    explicit DecoderClient(const DecoderChip& chip);
    ~DecoderClient();  // frees the node in whatever state it is

    OMX_PARAM_PORTDEFINITIONTYPE port(OMX_U32 index) const;
    android::status_t write(const OMX_PARAM_PORTDEFINITIONTYPE& definition);
    /// Tells the input port to expect this size.
    void expectSize(OMX_U32 width, OMX_U32 height);

    /// Loaded to Executing, all output buffers with the component.
    void start();
    /// Back to Loaded, whatever the ports are doing.
    void stop();

    /// Sends one unit as soon as an input buffer is free; answers changes of the output meanwhile.
    void send(const Unit& unit, OMX_TICKS timestamp = 0, OMX_U32 flags = 0);
    /// Ends the stream; all that came out, the end included. Answers changes.
    std::vector<Decoded> finish(OMX_TICKS timestamp = 0);
    /// Sends all and ends the stream; timestamps are 100, 200 and so on.
    std::vector<Decoded> play(const std::vector<Unit>& packets);

    /// Sends without waiting for anything: an input buffer must be free.
    void submit(const Unit& unit, OMX_TICKS timestamp = 0, OMX_U32 flags = 0);
    void awaitChange();
    void awaitInputsBack();
    void awaitPictures(size_t count);

    // The steps of an answer to a change, in this order.
    void disableOutput();
    void awaitOutputsBack();
    void freeOutput(size_t count);  // all: SIZE_MAX
    void awaitDisabled();
    void enableOutput();
    void allocateOutput(size_t count);
    void awaitEnabled();
    void fillOutputs();
    void answerChange();  // all of them

    int changes();
    size_t pictures();
    /// The output port's definition as it stood when the last change was heard of.
    OMX_PARAM_PORTDEFINITIONTYPE definitionAtChange();
    /// Events, and output buffers that came back empty, since the first change.
    std::vector<std::string> heard();
    android::status_t fill(size_t which) { return omx->fillBuffer(node, mBuffers[1].at(which).id); }
    size_t outputCount() const { return mBuffers[1].size(); }

    const android::sp<android::IOMX> omx;
    android::IOMX::node_id node = 0;

  private:
    class Observer;
    struct Buffer {
        android::IOMX::buffer_id id;
        android::sp<android::IMemory> memory;
    };
    void allocate(OMX_U32 index, size_t count);
    void command(OMX_COMMANDTYPE kind, OMX_U32 param);
    void waitAnswering(const std::function<bool()>& done);

    const android::sp<Observer> mObserver;
    std::vector<Buffer> mBuffers[2];
};

}  // namespace zem::test
