// A thread with a name, whose start can fail without ending the process.
#pragma once

#include <pthread.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <utility>

namespace zem {

/// Owns one thread. Must be joined or detached before it goes, by the thread that started it or
/// after handing over to another under a lock.
class NamedThread {
  public:
    NamedThread() = default;
    NamedThread(const NamedThread&) = delete;
    NamedThread& operator=(const NamedThread&) = delete;

    /// False when the system has no thread left. The kernel keeps 15 characters of `name`.
    bool start(const char* name, std::function<void()> body) {
        auto task = std::make_unique<std::function<void()>>(std::move(body));
        mRunning = pthread_create(&mThread, nullptr, run, task.get()) == 0;
        if (mRunning) {
            static_cast<void>(task.release());  // the thread's own from here
            char kept[16];
            snprintf(kept, sizeof kept, "%.15s", name);
            pthread_setname_np(mThread, kept);
        }
        return mRunning;
    }
    bool isCurrent() const { return mRunning && pthread_equal(mThread, pthread_self()) != 0; }
    void join() {
        if (mRunning) {
            pthread_join(mThread, nullptr);
            mRunning = false;
        }
    }
    void detach() {
        if (mRunning) {
            pthread_detach(mThread);
            mRunning = false;
        }
    }

  private:
    static void* run(void* argument) {
        const std::unique_ptr<std::function<void()>> task(static_cast<std::function<void()>*>(argument));
        (*task)();
        return nullptr;
    }

    pthread_t mThread{};
    bool mRunning = false;
};

}  // namespace zem
