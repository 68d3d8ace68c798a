// Preloaded into a test program: puts delays of random length where threads meet, as a starved machine does.
// A test that fails with it counts on a thread being quick.
//   ZEM_DELAY_SHARE   how many of 1000 semaphore calls are delayed (50); a tenth of that of mutex calls, ten
//                     times as many of new threads
//   ZEM_DELAY_MICROS  the longest delay, below a second (5000)
#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <random>

namespace {

constexpr int kOften = 100, kNormal = 10, kSeldom = 1;

long setting(const char* name, long otherwise) {
    const char* const text = getenv(name);
    return text != nullptr ? strtol(text, nullptr, 10) : otherwise;
}

void mayDelay(int weight) {
    static const long share = setting("ZEM_DELAY_SHARE", 50);
    static const long longest = setting("ZEM_DELAY_MICROS", 5000);
    thread_local std::minstd_rand random(static_cast<unsigned>(time(nullptr) ^ gettid()));
    if (static_cast<long>(random() % 10000) < share * weight) {
        const int before = errno;
        const timespec delay{0, static_cast<long>(random() % 1000) * longest};
        nanosleep(&delay, nullptr);
        errno = before;
    }
}

template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

struct Start {
    void* (*run)(void*);
    void* argument;
};

void* startLate(void* argument) {
    const Start start = *static_cast<Start*>(argument);
    delete static_cast<Start*>(argument);
    mayDelay(kOften);
    return start.run(start.argument);
}

}  // namespace

extern "C" {

int sem_post(sem_t* semaphore) noexcept {
    static auto* const real = next<int(sem_t*)>("sem_post");
    mayDelay(kNormal);
    const int result = real(semaphore);
    mayDelay(kNormal);
    return result;
}

int sem_timedwait(sem_t* semaphore, const timespec* deadline) {
    static auto* const real = next<int(sem_t*, const timespec*)>("sem_timedwait");
    mayDelay(kNormal);
    const int result = real(semaphore, deadline);
    mayDelay(kNormal);
    return result;
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    static auto* const real = next<int(pthread_mutex_t*)>("pthread_mutex_lock");
    mayDelay(kSeldom);
    return real(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    static auto* const real = next<int(pthread_mutex_t*)>("pthread_mutex_unlock");
    const int result = real(mutex);
    mayDelay(kSeldom);
    return result;
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                   void* argument) noexcept {
    static auto* const real =
        next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
    auto* const start = new Start{run, argument};
    const int result = real(thread, attributes, startLate, start);
    if (result != 0) {
        delete start;
    }
    return result;
}

}  // extern "C"
