// Connection, start, stop and end of a component.
#include <binder/IServiceManager.h>
#include <binder/ProcessState.h>
#include <media/IMediaPlayerService.h>

#include <cstring>
#include <new>

#include "base/log.h"
#include "omx/qcom_omx_interface.h"
#include "omx/result_codes.h"

using android::IMediaPlayerService;
using android::IOMX;
using android::sp;
using android::status_t;
using android::String16;

QcomOmxInterface::QcomOmxInterface() : mFilledQueue(new zem::RecordQueue) {}

QcomOmxInterface::~QcomOmxInterface() {
    shutdown();
    mObserver.clear();
    mBufferHeap.clear();
    mDealer[kInputPort].clear();
    mDealer[kOutputPort].clear();
    mFilledQueue.reset();
    if (mNode != 0 && mOmx != nullptr) {
        mOmx->freeNode(mNode);
    }
    mOmx.clear();
}

int QcomOmxInterface::acquireOmxFromMediaPlayer() {
    if (mOmx != nullptr) {
        return OMX_RESULT_OK;
    }
    const sp<IMediaPlayerService> service = android::interface_cast<IMediaPlayerService>(
        android::defaultServiceManager()->getService(String16("media.player")));
    if (service == nullptr) {
        LOGE("QCOMOMXINTERFACE: CANNOT ACQUIRE MEDIA PLAYER SERVICE");
        return OMX_RESULT_NO_MEDIA_SERVICE;
    }
    mOmx = service->getOMX();
    if (mOmx == nullptr) {
        LOGE("QCOMOMXINTERFACE: MEDIA PLAYER SERVICE CANNOT GET IOMX.");
        return OMX_RESULT_NO_IOMX;
    }
    return OMX_RESULT_OK;
}

int QcomOmxInterface::queryForOmxComponent(const char* name) {
    if (acquireOmxFromMediaPlayer() != OMX_RESULT_OK) {
        return OMX_RESULT_NO_IOMX;  // callers tell a missing service from a missing IOMX by the log only
    }
    android::List<IOMX::ComponentInfo> components;
    mOmx->listNodes(&components);
    bool found = false;
    for (const IOMX::ComponentInfo& component : components) {
        if (name != nullptr && strcmp(name, component.mName.string()) == 0) {
            found = true;
        }
    }
    if (!found) {
        LOGE("QCOMOMXINTERFACE: CODEC NOT FOUND: %s", name != nullptr ? name : "(null)");
        return OMX_RESULT_NO_COMPONENT;
    }
    return OMX_RESULT_OK;
}

bool QcomOmxInterface::OmxComponentCanBeAcquired(const char* name, int& result) {
    const std::unique_ptr<QcomOmxInterface> temporary(new QcomOmxInterface);
    result = temporary->queryForOmxComponent(name);
    return result == OMX_RESULT_OK;
}

bool QcomOmxInterface::OmxComponentCanBeAcquired(const char* name) {
    int result = OMX_RESULT_OK;
    return OmxComponentCanBeAcquired(name, result);
}

int QcomOmxInterface::setupIOMXConnections() {
    android::ProcessState::self()->startThreadPool();  // else no message ever arrives
    const int found = queryForOmxComponent(mComponentName);
    if (found != OMX_RESULT_OK) {
        return found;
    }
    const sp<QcOmxCodecObserver> observer(new (std::nothrow) QcOmxCodecObserver);
    if (observer == nullptr) {
        return OMX_RESULT_NO_OBSERVER;
    }
    observer->setDelegate(this);
    const status_t status = mOmx->allocateNode(mComponentName, observer, &mNode);
    if (status != android::OK) {
        mNode = 0;
        LOGE("QCOMOMXINTERFACE - Could not allocate node: %s -- error %d", mComponentName, status);
        return OMX_RESULT_NO_NODE;
    }
    return OMX_RESULT_OK;
}

int QcomOmxInterface::connectTo(const char* name) {
    mComponentName = name;
    return setupIOMXConnections();
}

int QcomOmxInterface::init() {
    int result = startOutputThread();
    if (result == OMX_RESULT_OK) {
        result = goToIdle();
    }
    if (result == OMX_RESULT_OK) {
        result = goToExecuting();
    }
    return result == OMX_RESULT_OK ? fillOutputBuffers() : result;
}

/// Idle is acknowledged once both ports are populated. Whether it was is not asked, here and in all
/// other waits for a state: components exist that never acknowledge and still work.
int QcomOmxInterface::goToIdle() {
    if (sendStateCommand(OMX_StateIdle) != android::OK) {
        return OMX_RESULT_COMMAND;
    }
    int result = allocateBuffersOnPort(kInputPort);
    if (result == OMX_RESULT_OK) {
        result = allocateBuffersOnPort(kOutputPort);
    }
    if (result != OMX_RESULT_OK) {
        LOGE("QCOMOMXINTERFACE::INIT - BUFFERS ALLOCATION FAILED\n\n\n");
        return result;
    }
    mStateSem.wait(kStateWaitMillis);
    return OMX_RESULT_OK;
}

int QcomOmxInterface::goToExecuting() {
    if (sendStateCommand(OMX_StateExecuting) != android::OK) {
        return OMX_RESULT_EXECUTE;
    }
    mStateSem.wait(kStateWaitMillis);
    return OMX_RESULT_OK;
}

status_t QcomOmxInterface::sendStateCommand(OMX_STATETYPE state) {
    return mOmx->sendCommand(mNode, OMX_CommandStateSet, state);
}

int QcomOmxInterface::deInit(bool bypass) {
    mDeInitStarted = true;
    LOGI("QcomOmxInterface::deInit + (%d, %d, %d)", bypass, mDataOuputThrId.load(),
         g_OutputThreadArray.getCount(mDataOuputThrId));
    if (bypass) {
        abandonStream();
    } else if (stopComponent() != OMX_RESULT_OK) {
        return OMX_RESULT_COMMAND;
    }
    LOGI("QcomOmxInterface::deInit -");
    return mThreadError;
}

/// Leaves the component in whatever state it is; freeing the node ends it.
void QcomOmxInterface::abandonStream() {
    LOGE("QcomOmxInterface::deInit : bypass deinit proc(%d,%d)", mDataOuputThrId.load(),
         g_OutputThreadArray.getCount(mDataOuputThrId));
    unregisterOutputThread();
    mFrameIsLast = true;
    mLastFrameSem.post();
    // Over any earlier error, and without the input callback: every later reader is to see the
    // stream as abandoned.
    mThreadError = OMX_RESULT_APPLICATION;
    mOutputSem.post();
    freeAllBuffers();
}

int QcomOmxInterface::stopComponent() {
    waitForLastFrame();
    releaseOutputThread();
    const status_t idle = sendStateCommand(OMX_StateIdle);
    if (idle != android::OK) {
        LOGE("Error Sending Idle State: %d\n", idle);
        return OMX_RESULT_COMMAND;
    }
    LOGI("QcomOmxInterface::deInit : wait(OMXStateChange)");
    mStateSem.wait(kStateWaitMillis);
    const status_t loaded = sendStateCommand(OMX_StateLoaded);
    if (loaded != android::OK) {
        LOGE("QCOMOMXINTERFACE - Error Sending Loaded State: %d\n", loaded);
        return OMX_RESULT_COMMAND;
    }
    LOGI("QcomOmxInterface::deInit wait~");
    if (!portBuffersHaveBeenReturned(kOutputPort)) {
        zem::sleepMillis(2000);
    }
    freeAllBuffers();
    LOGI("QcomOmxInterface::deInit : not bPass : wait(OMXStateChange)");
    mStateSem.wait(kStateWaitMillis);
    return OMX_RESULT_OK;
}

void QcomOmxInterface::waitForLastFrame() {
    if (!mFrameIsLast && mThreadError == OMX_RESULT_OK) {
        LOGI("QcomOmxInterface::deInit : wait to end");
        mLastFrameSem.wait(3000);
    }
}

/// Lets the output thread notice that it is over, and gives it time to leave.
void QcomOmxInterface::releaseOutputThread() {
    unregisterOutputThread();
    mFrameIsLast = true;
    LOGI("QcomOmxInterface::deInit : post(FillBufferDone) (%d)",
         g_OutputThreadArray.getCount(mDataOuputThrId));
    mOutputSem.post();
    zem::sleepMillis(100);
}

void QcomOmxInterface::freeAllBuffers() {
    endEventThread();  // it (de)allocates buffers too
    LOGI("QcomOmxInterface::deInit : free buffers");
    freeBuffersOnPort(kOutputPort);
    freeBuffersOnPort(kInputPort);
}

void QcomOmxInterface::unregisterOutputThread() {
    const int serial = mOutputThreadSerial.exchange(0);
    if (serial != 0) {
        g_OutputThreadArray.del(mDataOuputThrId, serial);
    }
}

void QcomOmxInterface::shutdown() {
    if (mShutDown) {
        return;
    }
    mShutDown = true;
    mDeInitStarted = true;
    mExitOutputThread = true;
    mOutputSem.post();  // a stream that was never stopped must not cost the thread's 3 s wait
    ExitDataOutputThread();
    // Virtual, and yet right in destructors: a class that overrides it has called shutdown() itself.
    endEventThread();  // NOLINT(clang-analyzer-optin.cplusplus.VirtualCall)
    if (mObserver != nullptr) {
        mObserver->detachDelegate();
    }
    dropQueuedEvents();  // NOLINT(clang-analyzer-optin.cplusplus.VirtualCall)
    mFilledQueue->clear();
}

void QcomOmxInterface::setThreadError(int code) {
    int none = OMX_RESULT_OK;
    if (mThreadError.compare_exchange_strong(none, code)) {
        callInputCallback();  // a producer may be waiting for a buffer that will not come
    }
}

void QcomOmxInterface::registerInputCallback(OmxInputCallback callback, void* user) {
    const std::lock_guard<std::mutex> lock(mBufferLock);
    mInputCallback = callback;
    mInputUserData = user;
}

void QcomOmxInterface::registerOutputCallback(OmxOutputCallback callback, void* user) {
    const std::lock_guard<std::mutex> lock(mBufferLock);
    mOutputCallback = callback;
    mOutputUserData = user;
}

void* QcomOmxInterface::outputUserData() const {
    const std::lock_guard<std::mutex> lock(mBufferLock);
    return mOutputUserData;
}

void QcomOmxInterface::callInputCallback() {
    OmxInputCallback callback = nullptr;
    void* user = nullptr;
    {
        const std::lock_guard<std::mutex> lock(mBufferLock);
        callback = mInputCallback;
        user = mInputUserData;
    }
    if (callback != nullptr) {
        callback(this, user);
    }
}
