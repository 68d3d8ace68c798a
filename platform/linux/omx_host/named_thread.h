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
        auto task = std::make_unique<Task>();
        snprintf(task->name, sizeof task->name, "%.15s", name);
        task->body = std::move(body);
        mRunning = pthread_create(&mThread, nullptr, run, task.get()) == 0;
        if (mRunning) {
            static_cast<void>(task.release());  // the thread's own from here
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
    struct Task {
        char name[16];
        std::function<void()> body;
    };

    static void* run(void* argument) {
        const std::unique_ptr<Task> task(static_cast<Task*>(argument));
        pthread_setname_np(pthread_self(), task->name);
        task->body();
        return nullptr;
    }

    pthread_t mThread{};
    bool mRunning = false;
};

}  // namespace zem
