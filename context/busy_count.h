// Tells how many calls are inside something, so that a thread can wait for all but its own to leave.
#pragma once

#include <atomic>
#include <cstdint>

namespace zem {

/// Any thread. One object in a process at a time: a thread's own calls are counted for the thread alone.
class BusyCount {
  public:
    /// A call, from construction to destruction on the same thread. Made before the call tests whether it
    /// may go on: whoever forbids that first and looks at the count then, misses none.
    class Call {
      public:
        explicit Call(BusyCount& count) : mCount(count) {
            ++mCount.mCalls;
            ++tOwnCalls;
        }
        ~Call() {
            --tOwnCalls;
            --mCount.mCalls;
        }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

      private:
        BusyCount& mCount;
    };

    /// Whether another thread is inside.
    bool hasOthers() const { return mCalls > tOwnCalls; }
    /// Whether the calling thread itself is inside.
    bool hasOwn() const { return tOwnCalls > 0; }

  private:
    static inline thread_local int32_t tOwnCalls = 0;
    std::atomic<int32_t> mCalls{0};
};

}  // namespace zem
