#include "codec/omx_codec_common.h"

#include <cstring>
#include <new>

#include "base/log.h"
#include "codec/component_names.h"
#include "codec/gathered_output.h"
#include "codec/input_semaphore.h"

namespace {

char* copyOfName(const char* name) {
    char* const copy = new (std::nothrow) char[kComponentNameSize]();
    if (copy != nullptr) {
        strncpy(copy, name, kComponentNameSize - 1);
    }
    return copy;
}

}  // namespace

omxCodecCommon::omxCodecCommon(const char* name) : mUserData(new (std::nothrow) codecUserData) {
    LOGI("omxCodecCommon::omxCodecCommon + [%s]", name != nullptr ? name : "(null)");
    if (name != nullptr) {
        useName(name);
    }
}

void omxCodecCommon::useName(const char* name) {
    delete[] mComponentName;
    mComponentName = copyOfName(name);
}

omxCodecCommon::~omxCodecCommon() {
    delete[] mComponentName;
    if (mUserData == nullptr) {
        return;
    }
    pthread_cond_destroy(&mUserData->condition);
    pthread_mutex_destroy(&mUserData->mutex);
    delete[] mUserData->outputBuffer;
    delete[] mUserData->secondBuffer;
    delete mUserData;
}

unsigned char* omxCodecCommon::GetBuffer() const {
    return mUserData != nullptr ? mUserData->outputBuffer : nullptr;
}

int omxCodecCommon::GetUsedSize() {
    if (mUserData != nullptr) {
        mCachedUsed.store(mUserData->outputUsed.load());
    }
    return mCachedUsed.load();
}

void omxCodecCommon::SetUsedSize(int size) {
    if (mUserData != nullptr) {
        mUserData->outputUsed.store(size);
    }
}

GatheredOutput omxCodecCommon::takeGathered() {
    GatheredOutput output;
    if (mUserData == nullptr) {
        return output;
    }
    omxCodecLock();
    const int used = mUserData->outputUsed.load();
    if (used > 0 && used <= zem::capacityOf(*mUserData)) {
        output.bytes.reset(new (std::nothrow) unsigned char[static_cast<size_t>(used)]);
        if (output.bytes != nullptr) {
            memcpy(output.bytes.get(), mUserData->outputBuffer, static_cast<size_t>(used));
            output.size = used;
            mUserData->outputUsed.store(0);
        }
    }
    omxCodecUnlock();
    return output;
}

int omxCodecCommon::IsOpen() const {
    return mUserData != nullptr ? mUserData->openResult.load() : 0;
}

// The flag goes first: a waiter that misses it gets a post. Both semaphores, since not every codec waits
// on that of its own kind.
void omxCodecCommon::requestClose() {
    if (mUserData == nullptr) {
        return;
    }
    omxCodecLock();
    mUserData->closeRequested.store(true);
    pthread_cond_broadcast(&mUserData->condition);
    omxCodecUnlock();
    zem::videoInputSemaphore().postToAll();
    zem::audioInputSemaphore().postToAll();
}

int omxCodecCommon::omxCodecWait() {
    return pthread_cond_wait(&mUserData->condition, &mUserData->mutex);
}

int omxCodecCommon::omxCodecTimeWait(timespec* deadline) {
    return pthread_cond_timedwait(&mUserData->condition, &mUserData->mutex, deadline);
}

void omxCodecCommon::omxCodecLock() {
    omxLock(&mUserData->mutex);
}

void omxCodecCommon::omxCodecUnlock() {
    omxUnlock(&mUserData->mutex);
}

void omxCodecCommon::omxCodecSignal() {
    omxSignal(&mUserData->condition);
}

void omxCodecCommon::close() {
    if (mUserData != nullptr) {
        delete[] mUserData->secondBuffer;
        mUserData->secondBuffer = nullptr;
        mUserData->secondBufferSize = 0;
    }
}

void omxLock(pthread_mutex_t* mutex) {
    pthread_mutex_lock(mutex);
}

void omxUnlock(pthread_mutex_t* mutex) {
    pthread_mutex_unlock(mutex);
}

void omxSignal(pthread_cond_t* condition) {
    pthread_cond_signal(condition);
}
