// Drives one OpenMAX IL component of the media service: connection, states, buffers, teardown.
#pragma once

#include <OMX_Component.h>
#include <binder/IMemory.h>
#include <binder/MemoryDealer.h>
#include <media/IOMX.h>
#include <pthread.h>
#include <utils/List.h>
#include <utils/Vector.h>

#include <atomic>
#include <memory>
#include <mutex>

#include "omx/buffer_info.h"
#include "omx/check_output_thread.h"
#include "omx/codec_observer.h"
#include "omx/record_queue.h"
#include "omx/semaphore.h"

/// Called with (interface, user) when an input buffer came back, on the message thread, and once when
/// the first error is recorded, on the thread that found it. Allowed: posting semaphores, taking
/// short locks. Forbidden: waiting for the component, deInit, deleting the interface.
using OmxInputCallback = int (*)(void* interface, void* user);
/// Called with (interface, data, bytes, user) for each filled output buffer, on the data-output
/// thread and with the filled queue locked; `data` is valid during the call only. Allowed: slow work,
/// requests to the component. Forbidden: ending or deleting the interface.
using OmxOutputCallback = int (*)(void* interface, void* data, unsigned int length, void* user);

/// The base of all component drivers. Order of use: a derived class's Create, register callbacks,
/// init(), exchange data, deInit(), ExitDataOutputThread(), delete. Operations return a code of
/// result_codes.h, 0 for success, unless they say otherwise.
///
/// Threads: the caller's (creation, init, input, deInit), the media service's message thread (the
/// observer handlers), the data-output thread and, in decoders, an event thread. Every destructor of
/// a derived class calls shutdown() first, so that none of them meets a half-destroyed object.
class QcomOmxInterface : public QcOmxCodecObserverDelegate {
  public:
    QcomOmxInterface();
    ~QcomOmxInterface() override;
    QcomOmxInterface(const QcomOmxInterface&) = delete;
    QcomOmxInterface& operator=(const QcomOmxInterface&) = delete;

    // The observer's side; see QcOmxCodecObserverDelegate.
    void setObserver(const android::sp<QcOmxCodecObserver>& observer) override;
    void onRegisterBuffers(const android::sp<android::IMemoryHeap>& heap) override;
    void onOmxObserverEvent(const android::omx_message& msg) override;
    void onOmxObserverFillBufferDone(const android::omx_message& msg) override;
    void onOmxObserverEmptyBufferDone(const android::omx_message& msg) override;

    /// A decoder's answer to one event, on its event thread; nothing here.
    virtual void onEvent(OMX_EVENTTYPE event, unsigned long data1, unsigned long data2);
    /// Starts the data-output thread, brings the component to Executing and submits all output
    /// buffers. Takes up to 6 s when the component never acknowledges. 0, 8, 15, 20, 21, 23, or 13.
    /// After a failure the object can only be destroyed.
    virtual int init();
    /// Stops the component: waits for the last frame, walks back to Loaded and frees all buffers; up
    /// to 11.1 s when nothing is acknowledged. With `bypass` it only frees the buffers and records
    /// 33. Afterwards the object can only be destroyed. Returns the recorded error, or 20.
    virtual int deInit(bool bypass);

    // Connection.
    /// 0, 1 (no media service) or 3 (no IOMX).
    int acquireOmxFromMediaPlayer();
    /// Whether the service lists the component: 0, 3 or 6. A null name is never listed.
    int queryForOmxComponent(const char* name);
    /// As above with an interface of its own; leaves neither node nor thread behind.
    static bool OmxComponentCanBeAcquired(const char* name, int& result);
    static bool OmxComponentCanBeAcquired(const char* name);
    /// Allocates the node of the component that is named: 0, 3, 4, 5 or 6.
    int setupIOMXConnections();
    /// As above of the component `name`, which must outlive the object.
    int connectTo(const char* name);
    /// The connected service; null before acquireOmxFromMediaPlayer().
    const android::sp<android::IOMX>& omx() const { return mOmx; }

    // Callbacks. May be null; a registration replaces callback and user pointer together.
    void registerInputCallback(OmxInputCallback callback, void* user);
    void registerOutputCallback(OmxOutputCallback callback, void* user);
    /// The user pointer registered with the output callback.
    void* outputUserData() const;

    // Zero-copy input. -1 means that no buffer is free now, or that the component refused.
    /// Hands out a free input buffer and its memory: 0, -1, or -2 once the input has ended.
    int reserveInputBuffer(void** buffer, void** data);
    /// Gives a reserved buffer back unused; nothing for an unknown one.
    void releaseInputBuffer(void* buffer);
    /// Submits `length` bytes of a reserved buffer; microseconds. 0 or -1. A refused buffer, one too
    /// small for `length` among them, is no longer reserved.
    int sendInputBuffer(void* buffer, int length, int timestamp);
    /// Submits an empty end-of-stream buffer: a reserved one, or &g_finalEncoderBuffer. 0 or -1.
    int sendFinalBuffer(void* buffer, int timestamp);
    /// Room in a reserved buffer in bytes; 0 for an unknown one.
    unsigned int inputBufferCapacity(const void* buffer) const;
    /// The component's number for a reserved buffer; 0 for an unknown one.
    android::IOMX::buffer_id inputBufferId(const void* buffer) const;

    // Copying input.
    /// Copies and submits: 0 (also, dropping the data, once the input has ended), -1 when no buffer
    /// is free, -2 when refused or larger than a buffer.
    int sendInputData(void* data, unsigned int length, int timestamp);
    /// Whether sendInputData() would find a buffer now.
    bool inputBufferIsFree() const;
    /// 0, -1 when no buffer is free, -2 when refused.
    int sendEndOfInputFlag(int timestamp);

    // Buffers.
    /// Populates a port: 0, 13 or 15. What was allocated before a failure stays for the teardown.
    int allocateBuffersOnPort(int port);
    /// Frees a port's buffers, last to first: 0 or the last failing status.
    int freeBuffersOnPort(unsigned long port);
    bool portBuffersHaveBeenReturned(int port) const;
    /// Submits an output buffer unless it is out already or the port is being changed: 0 or 8.
    int fillOutputBuffer(BufferInfo* record);
    /// Submits all output buffers, stops at the first refusal: 0 or 8.
    int fillOutputBuffers();

    // Output thread.
    /// Asks the data-output thread to leave and joins it: at once after deInit(), else within 3 s.
    /// A second call, or one without a thread, returns at once. Never from the thread itself.
    void ExitDataOutputThread();
    /// The callback's result, or 0 without one.
    int callOutputCallbackFunction(void* data, unsigned int length);

    // Port parameters.
    /// Sets picture size and colour layout, and frame rate and buffer size when above 0: 0, 13, 14.
    int setupPortParameters(int port, int width, int height, int frameRate, int bufferSize);
    /// As above, but the colour layout stays the component's own.
    int setupPortParamsForDecoder(int port, int width, int height, int frameRate, int bufferSize);
    /// Sets a port's audio coding, an OMX_AUDIO_CODINGTYPE: 0, 13, 14.
    int setupPortParamsForAudio(int port, int audioFormat);
    /// Logs a port's definition; a debugging aid.
    void debugPortParameters(int port);

    /// Records an error unless there is one, and wakes a waiting producer. Any thread.
    void setThreadError(int code);

    // Queries; any thread.
    /// The first error recorded; 0 = none.
    int threadError() const { return mThreadError; }
    /// "Busy": an input buffer was submitted and has not come back.
    bool inputPending() const { return mInputPending; }
    bool frameIsLast() const { return mFrameIsLast; }
    /// The frame size last configured on a port (0 or 1), in pixels; of a decoder's output port, the
    /// size that its component reported.
    int portWidth(int port) const { return mPortWidth[port]; }
    int portHeight(int port) const { return mPortHeight[port]; }
    int hardwareBase() const { return mHardwareBase; }
    const char* componentName() const { return mComponentName; }
    /// The last completed state, an OMX_STATETYPE.
    int omxState() const { return mOmxState; }

  protected:
    static constexpr int kInputPort = 0;
    static constexpr int kOutputPort = 1;
    static constexpr int kPortCount = 2;
    static constexpr int kStateWaitMillis = 3000;

    /// How a port's buffers are obtained.
    enum BufferMode : int { kComponentAllocates = 0, kSharedMemory = 1 };

    /// Ends and joins the output and event threads, detaches from the observer and drops what is
    /// queued. The first statement of every destructor; later calls do nothing.
    void shutdown();
    /// Ends and joins a decoder's event thread, if it runs. Called by deInit() before buffers are
    /// freed and by shutdown(); more than once.
    virtual void endEventThread() {}
    /// Frees a decoder's queued event records, once no message can add one.
    virtual void dropQueuedEvents() {}

    /// Number of buffers on a port, 0 or 1.
    int bufferCount(int port) const;

    static void* DataOutputThread(void* interface);

    // Fields without a remark are set before init() and constant from then on.
    android::Vector<android::sp<BufferInfo>> mPortBuffers[kPortCount];  // guarded by mBufferLock
    const char* mComponentName = nullptr;                               // not owned
    int mPortBufferMode[kPortCount] = {kComponentAllocates, kComponentAllocates};
    std::atomic<int> mThreadError{0};
    std::atomic<bool> mInputEnded{false};
    std::atomic<bool> mFrameIsLast{false};  // last output seen, or teardown has begun
    std::atomic<bool> mDeInitStarted{false};
    std::atomic<bool> mPortReconfiguring{false};     // output buffers are not resubmitted
    std::unique_ptr<zem::RecordQueue> mFilledQueue;  // message thread to output thread; own lock
    android::sp<android::IOMX> mOmx;
    android::IOMX::node_id mNode = 0;
    android::sp<QcOmxCodecObserver> mObserver;
    android::sp<android::IMemoryHeap> mBufferHeap;           // guarded by mBufferLock
    android::sp<android::MemoryDealer> mDealer[kPortCount];  // of the thread that (de)allocates
    OmxInputCallback mInputCallback = nullptr;               // these four guarded by mBufferLock
    void* mInputUserData = nullptr;
    OmxOutputCallback mOutputCallback = nullptr;
    void* mOutputUserData = nullptr;
    std::atomic<int> mOmxState{OMX_StateInvalid};
    pthread_t mDataOutputThread{};
    std::atomic<bool> mExitOutputThread{false};
    zem::Semaphore mStateSem;           // a state command completed
    zem::Semaphore mEventSem;           // a decoder's event queue has entries
    zem::Semaphore mReservedSem;        // unused
    zem::Semaphore mOutputSem;          // a filled buffer was queued, or the thread must look up
    zem::Semaphore mInputReturnedSem;   // all input buffers are back
    zem::Semaphore mOutputReturnedSem;  // all output buffers are back
    zem::Semaphore mLastFrameSem;       // the last output was handled
    zem::Semaphore mEmptyDoneSem;       // an input buffer was emptied
    // The frame sizes last configured, in pixels; the configuring thread's, then the event thread's.
    std::atomic<int> mPortWidth[kPortCount] = {};
    std::atomic<int> mPortHeight[kPortCount] = {};
    std::atomic<int> mDataOuputThrId{0};  // this interface's slot in g_OutputThreadArray
    bool mHoldQueueWhileFilling = false;  // resubmit with the filled queue locked (8974 decoders)
    std::atomic<bool> mInputPending{false};
    std::atomic<bool> mWaitAfterSendData{false};
    std::atomic<bool> mWaitAfterSendBuffer{false};
    int mHardwareBase = 0;
    int mSkipOutputCount = 0;  // outputs still to be dropped; guarded by mFilledQueue's lock
    // A change of the output port failed half way: nothing is delivered any more. Guarded likewise.
    bool mDeliveryStopped = false;

  private:
    /// What one delivery needs of a record, taken as one.
    struct FilledData {
        void* data;
        unsigned int length;
        bool endOfStream;
        android::sp<android::IMemoryHeap> heap;  // keeps `data` mapped
    };

    // init() and deInit() step by step.
    int startOutputThread();
    int goToIdle();
    int goToExecuting();
    void abandonStream();
    int stopComponent();
    void waitForLastFrame();
    android::status_t sendStateCommand(OMX_STATETYPE state);
    void releaseOutputThread();
    void freeAllBuffers();
    void unregisterOutputThread();

    android::status_t writeVideoPort(OMX_PARAM_PORTDEFINITIONTYPE& definition, int width, int height,
                                     int frameRate, int bufferSize);

    // Buffers.
    int obtainBuffer(int port, int index, unsigned int size);
    android::status_t registerBuffer(int port, BufferInfo& record, unsigned int size,
                                     android::IOMX::buffer_id* id);
    bool hasOwnHeap() const;
    android::sp<BufferInfo> popBuffer(unsigned long port);
    android::sp<BufferInfo> findBuffer(int port, android::IOMX::buffer_id id) const;
    android::sp<BufferInfo> findInput(const void* buffer) const;
    android::sp<BufferInfo> takeFreeInput();
    bool tooLargeForInput(const void* data, unsigned int length) const;
    android::status_t submitInput(const BufferInfo& record, unsigned int length, OMX_U32 flags,
                                  int timestamp);
    void refuseInput(BufferInfo& record);
    android::status_t submitPayload(BufferInfo& record, unsigned int length, int timestamp, int answerMillis);
    void callInputCallback();
    void recordFill(BufferInfo& record, const android::omx_message& msg);
    void postWhenAllReturned(int port, zem::Semaphore& semaphore);
    void reportUnknownBuffer();

    // Output thread.
    void runOutputThread();
    bool outputThreadMayRun(int slot) const;
    bool handleFilledBuffers(int slot);
    void deliverFilledBuffers(int slot, zem::RecordQueue& handled);
    bool deliver(int slot, const android::sp<BufferInfo>& record, zem::RecordQueue& handled);
    FilledData filledData(const BufferInfo& record) const;

    /// Guards what says so above and each record's last fill. Never held across an IOMX call or a
    /// callback.
    mutable std::mutex mBufferLock;
    android::Vector<android::sp<BufferInfo>> mRetiredInput;  // keeps reserved memory; mBufferLock
    std::atomic<bool> mOutputThreadJoinable{false};
    std::atomic<int> mOutputThreadSerial{0};  // 0 = not registered
    bool mShutDown = false;                   // the destroying thread's
};

/// The OpenMAX name of an event, or "unknown".
const char* printOmxEventType(OMX_EVENTTYPE event);

/// Logs `length` bytes at level 3, 16 a row in hex and as characters; a debugging aid.
void hexdump(void* data, unsigned int length);
