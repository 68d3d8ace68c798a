// Lets threads through one at a time.
#pragma once

#include <condition_variable>
#include <mutex>

namespace zem {

/// For std::lock_guard. A thread may spend seconds in its turn, inside a codec. So nothing may wait for
/// one but a Java thread that wants to encode or decode a picture or to open a codec: not closing, which is
/// what ends a turn that is stuck, not an engine thread, not a callback.
class Turn {
  public:
    void lock() {
        std::unique_lock<std::mutex> lock(mMutex);
        mFree.wait(lock, [this] { return !mTaken; });
        mTaken = true;
    }
    void unlock() {
        std::lock_guard<std::mutex> lock(mMutex);
        mTaken = false;
        mFree.notify_one();
    }

  private:
    std::mutex mMutex;
    std::condition_variable mFree;
    bool mTaken = false;  // guarded by mMutex
};

}  // namespace zem
