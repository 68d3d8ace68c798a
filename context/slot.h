// Holds an object that some thread may be using while another replaces or removes it.
#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace zem {

/// The object lives until the slot and everyone who got it have let go; whoever is last destroys it.
/// The lock guards the pointer alone and is never held while the object is used or destroyed. Any thread.
template <class T>
class SharedSlot {
  public:
    std::shared_ptr<T> get() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mObject;
    }

    /// The object that was there before is let go.
    void put(std::shared_ptr<T> object) {
        std::lock_guard<std::mutex> lock(mMutex);
        mObject.swap(object);  // the parameter, and with it the former object, outlives the lock
    }

    /// False, with the slot unchanged, when there is an object already.
    bool putIfEmpty(const std::shared_ptr<T>& object) {
        std::lock_guard<std::mutex> lock(mMutex);
        if (mObject != nullptr) {
            return false;
        }
        mObject = object;
        return true;
    }

    std::shared_ptr<T> take() {
        std::lock_guard<std::mutex> lock(mMutex);
        return std::exchange(mObject, nullptr);
    }

    /// Empties the slot if it still holds `expected`: of several threads that got the same object, one
    /// wins.
    bool takeIf(const std::shared_ptr<T>& expected) {
        std::lock_guard<std::mutex> lock(mMutex);
        if (expected == nullptr || mObject != expected) {
            return false;
        }
        mObject = nullptr;
        return true;
    }

  private:
    mutable std::mutex mMutex;
    std::shared_ptr<T> mObject;  // guarded by mMutex
};

}  // namespace zem
