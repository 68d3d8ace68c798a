#include "audio/audio_hook_client.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>

#include "audio/audio_hook_ring.h"
#include "base/clock.h"
#include "base/log.h"

namespace {

constexpr int32_t kDefaultSampleRate = 48000;
constexpr int32_t kDefaultOutputFormat = 1;
constexpr int kLongestWaitMillis = 3000;
constexpr int kThreadPriority = -19;

constexpr const char* kStart = "virtual int AudioHookClient::start(AudioHookClient::funcAudioHookCallback)";
constexpr const char* kStartUsingThread =
    "virtual int AudioHookClient::startUsingThread(AudioHookClient::funcAudioHookCallback)";
constexpr const char* kThreadProc = "void* AudioHookClient::audioHookClientThreadProc()";
constexpr const char* kStop = "virtual void AudioHookClient::stop()";

}  // namespace

AudioHookClient::AudioHookClient() {
    sem_init(&mSemaphore, 0, 0);
}

AudioHookClient::~AudioHookClient() {
    AudioHookClient::stop();
    sem_destroy(&mSemaphore);
}

int AudioHookClient::open() {
    if (!mLibrary.isLoaded()) {
        LOGE("audio hook client is not available");
        return 0;
    }
    const int32_t output = mLibrary.getAudioHookMixerOutput();
    mOutput = output;
    mBufferSize = mLibrary.getAudioHookBufferSize(output);
    mSampleRate = mLibrary.getAudioHookSampleRate != nullptr ? mLibrary.getAudioHookSampleRate(output)
                                                             : kDefaultSampleRate;
    mOutputFormat = mLibrary.getAudioHookOutputFormat != nullptr ? mLibrary.getAudioHookOutputFormat(output)
                                                                 : kDefaultOutputFormat;
    return 1;
}

int AudioHookClient::start(funcAudioHookCallback callback) {
    if (!prepare(kStart)) {
        return -1;
    }
    if (callback == nullptr) {
        LOGE("%s: no callback", kStart);
        return -1;
    }
    return startHook(callback);
}

int AudioHookClient::startUsingThread(funcAudioHookCallback callback) {
    LOGE("%s", kStartUsingThread);
    if (!prepare(kStartUsingThread)) {
        return -1;
    }
    // All that the thread and the first blocks need is there before them.
    ring();
    mfuncAudioHookCallback = callback;
    mHasThread = pthread_create(&mThread, nullptr, audioHookClientThread, this) == 0;
    if (!mHasThread) {
        LOGE("%s: pthread_create failed", kStartUsingThread);
        return -1;
    }
    LOGI("%s (mOutput:0x%x, mBufferSize:%d)", kStartUsingThread, static_cast<unsigned>(mOutput.load()),
         mBufferSize.load());
    return startHook(audioHookCallback);
}

// What every start begins with: ends what runs. False when it cannot go on.
bool AudioHookClient::prepare(const char* caller) {
    if (isOwnThread()) {
        LOGE("%s: called from within the callback", caller);
        return false;
    }
    if (mHook != 0 || mHasThread) {
        stop();
    }
    if (!mLibrary.isLoaded()) {
        LOGE("audio hook client is not available");
        return false;
    }
    if (mBufferSize < 1) {
        LOGE("%s: blocks of %d bytes", caller, mBufferSize.load());
        return false;
    }
    while (sem_trywait(&mSemaphore) == 0) {
    }
    mStopped = false;
    return true;
}

int AudioHookClient::startHook(funcAudioHookCallback callback) {
    const int32_t hook = mLibrary.startAudioHook(mBufferSize, 0, callback, this);
    mHook = hook;
    if (mStopped) {
        stopHook();  // the callback stopped before the hook had a handle
    }
    return hook != 0 ? 0 : -1;
}

void AudioHookClient::stopHook() {
    const int32_t hook = mHook.exchange(0);
    if (hook != 0) {
        mLibrary.stopAudioHook(hook);
    }
}

void AudioHookClient::stop() {
    LOGI("%s +++", kStop);
    mStopped = true;
    stopHook();
    // From here on pushes are refused; one that was in time ends soon: it only copies.
    while (mPushing > 0) {
        zem::sleepMillis(1);
    }
    sem_post(&mSemaphore);
    // The callback's own thread cannot wait for itself; the next stop or start of another thread joins it.
    if (!isOwnThread() && mHasThread) {
        pthread_join(mThread, nullptr);
        mHasThread = false;
    }
    delete mAudioBuffer.exchange(nullptr);
    LOGI("%s ()", kStop);
}

bool AudioHookClient::isOwnThread() const {
    return mThreadId == gettid();
}

void* AudioHookClient::audioHookClientThread(void* self) {
    return static_cast<AudioHookClient*>(self)->audioHookClientThreadProc();
}

void AudioHookClient::audioHookCallback(int event, void* user, void* info) {
    if (event == kAudioHookEventBuffer && info != nullptr) {
        const auto* const block = static_cast<const AudioHookBuffer*>(info);
        static_cast<AudioHookClient*>(user)->pushAudioData(static_cast<uint8_t*>(block->raw),
                                                           block->readSize);
    } else {
        LOGV("AudioHookClient::audioHookCallback(event=%d, user=%p, info=%p)", event, user, info);
    }
}

void AudioHookClient::pushAudioData(uint8_t* data, int size) {
    if (mStopped) {
        return;  // uncounted: a library that goes on calling does not keep stop() waiting
    }
    ++mPushing;  // before the test that counts: a stop that comes between the two waits
    if (!mStopped) {
        ring().push(data, size);
        sem_post(&mSemaphore);
    }
    --mPushing;
}

AudioHookClient::AudioBuffer& AudioHookClient::ring() {
    AudioBuffer* present = mAudioBuffer;
    if (present == nullptr) {
        auto fresh = std::make_unique<AudioBuffer>();
        if (mAudioBuffer.compare_exchange_strong(present, fresh.get())) {
            present = fresh.release();
        }
    }
    return *present;
}

void* AudioHookClient::audioHookClientThreadProc() {
    mThreadId = gettid();
    LOGD("%s, tid = 0x%x +", kThreadProc, static_cast<unsigned>(gettid()));
    prctl(PR_SET_NAME, kThreadProc);  // the kernel keeps its first 15 characters
    setpriority(PRIO_PROCESS, 0, kThreadPriority);
    const int32_t blockSize = mBufferSize;
    const std::unique_ptr<uint8_t[]> block(new (std::nothrow) uint8_t[static_cast<size_t>(blockSize)]);
    if (block == nullptr) {
        LOGE("%s: no memory for blocks of %d bytes", kThreadProc, blockSize);
    }
    AudioHookBuffer record{0, blockSize, block.get(), 0};
    while (block != nullptr && awaitPush()) {
        AudioBuffer* const buffer = mAudioBuffer;
        record.readSize = buffer != nullptr ? buffer->pop(block.get(), blockSize) : 0;
        if (record.readSize > 0) {
            mfuncAudioHookCallback(kAudioHookEventBuffer, nullptr, &record);
        }
    }
    LOGD("%s -", kThreadProc);
    mThreadId = 0;  // the system may give the number to another thread
    return nullptr;
}

// Waits for the next push, which may bring one block. False when the thread has to end.
bool AudioHookClient::awaitPush() {
    int result = -1;
    while (result != 0) {
        result = zem::semWaitUntil(&mSemaphore, zem::deadlineAfterMillis(kLongestWaitMillis));
        const int error = result == 0 ? 0 : errno;
        if (mStopped) {
            return false;
        }
        if (mfuncAudioHookCallback == nullptr) {
            LOGE("%s: mfuncAudioHookCallback is null", kThreadProc);
            return false;
        }
        if (result != 0 && error != ETIMEDOUT) {
            LOGE("%s: sem_timedwait return %d, err=%d", kThreadProc, result, error);
            return false;
        }
    }
    return true;
}

void CallbackSample(int event, void* user, void* info) {
    constexpr const char* kName = "void CallbackSample(int, void*, void*)";
    LOGI("%s(event:%d, user:%p, info:%p)", kName, event, user, info);
    if (info != nullptr) {
        const auto* const buffer = static_cast<const AudioHookBuffer*>(info);
        LOGI("%s buffer = {raw:%p, bufferSize:%d, readSize:%d}", kName, buffer->raw, buffer->bufferSize,
             buffer->readSize);
    }
}
