#include "codec/input_semaphore.h"

#include <cerrno>
#include <type_traits>

#include "base/clock.h"
#include "base/log.h"
#include "codec/omx_interface.h"

namespace zem {
namespace {

class Lock {
  public:
    explicit Lock(pthread_mutex_t& mutex) : mMutex(mutex) { pthread_mutex_lock(&mMutex); }
    ~Lock() { pthread_mutex_unlock(&mMutex); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

  private:
    pthread_mutex_t& mMutex;
};

// Made when the library is loaded. Nothing tears them down: a component's message thread may still post
// while the process ends.
InputSemaphore gVideoInput;
InputSemaphore gAudioInput;
static_assert(std::is_trivially_destructible_v<InputSemaphore>);

}  // namespace

InputSemaphore::InputSemaphore() {
    sem_init(&mSemaphore, 0, 0);
}

void InputSemaphore::acquire() {
    const Lock lock(mMutex);
    if (mUsers++ == 0) {
        while (sem_trywait(&mSemaphore) == 0) {
        }
    }
}

void InputSemaphore::release() {
    const Lock lock(mMutex);
    if (mUsers > 0) {
        --mUsers;
    }
}

void InputSemaphore::post() {
    sem_post(&mSemaphore);
}

void InputSemaphore::postToAll() {
    const Lock lock(mMutex);
    for (int i = 0; i < mUsers; ++i) {
        sem_post(&mSemaphore);
    }
}

int InputSemaphore::waitUntil(const timespec& deadline, const char* signature) {
    const int result = semWaitUntil(&mSemaphore, deadline);
    if (result == -1 && errno != ETIMEDOUT) {
        LOGE("%s, sem_timedwait return %d, errno=%d", signature, result, errno);
    }
    return result;
}

InputSemaphore& videoInputSemaphore() {
    return gVideoInput;
}

InputSemaphore& audioInputSemaphore() {
    return gAudioInput;
}

}  // namespace zem

int omx_setup_input_semaphore(void* handle) {
    zem::videoInputSemaphore().acquire();
    omx_interface_register_input_callback(handle, semaphoreEmptyBufferPost, nullptr);
    return 0;
}

int omx_teardown_input_semaphore() {
    zem::videoInputSemaphore().post();
    zem::videoInputSemaphore().release();
    return 0;
}

int semaphoreEmptyBufferPost(void* /*handle*/, void* /*user*/) {
    zem::videoInputSemaphore().post();
    return 0;
}

int semaphoreEmptyBufferPost2(void* /*handle*/, void* /*user*/) {
    zem::audioInputSemaphore().post();
    return 0;
}

void semaphoreEmptyBufferWait(int milliseconds) {
    zem::videoInputSemaphore().waitUntil(zem::deadlineAfterMillis(milliseconds),
                                         "void semaphoreEmptyBufferWait(int)");
}
