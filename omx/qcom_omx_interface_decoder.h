// A hardware H.264 decoder component.
#pragma once

#include <memory>

#include "omx/decoder_params.h"
#include "omx/qcom_omx_interface.h"
#include "omx/simple_queue.h"

/// Packets go in through sendInputData() and sendEndOfInputFlag(); pictures come out through the output
/// callback. Results are those of result_codes.h unless said otherwise.
///
/// When the component reports that its pictures have another size, the output port is changed while
/// input goes on: resubmission stops, the port is disabled, its buffers are freed once they are back (or
/// 3 s later), the port is enabled again, populated with new buffers, and they are submitted. All that
/// happens on the event thread, since it waits for messages that arrive on the message thread.
class QcomOmxInterfaceDecoder : public QcomOmxInterface {
  public:
    /// Makes the decoder and connects it; a Qualcomm one is told to give pictures in decoding order. The
    /// ports are left as the component proposes them. `*decoder` is null on failure.
    static int Create(QcomOmxInterfaceDecoder** decoder, decoderParams* params);

    explicit QcomOmxInterfaceDecoder(int hardwareBase);
    ~QcomOmxInterfaceDecoder() override;

    // Vendor settings, for the time before init().
    /// 0: pictures come in display order, 1: in decoding order, without delay. 0 or 30.
    int setPictureOrder(int order);
    /// How packets are cut: 1 anywhere, 2 a whole picture each, else as the component likes. 0 or 31.
    int setInputPackingFormat(int format);
    /// 0 H.264, 1 MPEG-4, 2 H.263, 3 WMV, else the component's own. 0 or -1.
    int setInputCompressionFormat(int format);
    /// Asks for 15 buffers on the output port; reads and writes back the input port's. 0, 13 or 14.
    int setupPortDef(int port);

    /// Starts the event thread, then as the base. Also 22.
    int init() override;

    /// Queues the event for the event thread; message thread.
    void onOmxObserverEvent(const android::omx_message& msg) override;
    /// Answers one event; event thread, and message thread for an error after that thread has ended.
    void onEvent(OMX_EVENTTYPE event, unsigned long data1, unsigned long data2) override;
    /// Goes on with a change of the output port: 0, 11, 20, 13 or 15. Event thread.
    int onCommandComplete(OMX_COMMANDTYPE command, unsigned long data);

  protected:
    static void* EventMonitorThread(void* decoder);
    void endEventThread() override;
    void dropQueuedEvents() override;

    /// Events on their way from the message thread to the event thread; own lock. As long as the
    /// component makes it: every wake-up of the event thread takes all of it.
    std::unique_ptr<SimpleQueue> mEventQueue;
    pthread_t mEventMonitorThread{};

  private:
    bool queueEvent(const android::omx_message& msg);
    void runEventThread();
    void handleQueuedEvents();
    void closeEventQueue();
    void disablePort();
    void waitForOutputBuffers();
    void adoptOutputSize();
    int enablePort(unsigned long port);

    bool mEventQueueClosed = false;  // nobody takes events any more; guarded by mEventQueue's lock
    std::atomic<bool> mEventThreadJoinable{false};
};
