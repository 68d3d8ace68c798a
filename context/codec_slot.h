// Holds a codec: removed only when no call uses it any more, and destroyed by the thread that removes it.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

#include "codec/omx_codec_common.h"

namespace zem {

/// Destroying a codec joins its output thread, so the last user must not be the one who does it: that
/// may be the output thread itself, in one of the session's queries. The remover asks the codec to end
/// its waits, waits for the calls inside to leave, and destroys. It cannot wait for ever: calls into a
/// codec wait for nothing but input buffers, which the request ends, and never call into Java. Any
/// thread, except that a thread must not remove a codec that it is using.
template <class T>
class CodecSlot {
  public:
    /// Keeps the codec from being destroyed; hold it for the call, not longer.
    struct Use {
        std::shared_ptr<T> codec;
        /// The hardware part of the same codec; null for a software codec. Not to be kept without
        /// `codec`.
        omxCodecCommon* common = nullptr;

        explicit operator bool() const { return codec != nullptr; }
    };

    Use get() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mUse;
    }

    /// `common`: the hardware part of `codec`, null when it has none. A codec that another thread put
    /// here meanwhile is removed.
    void put(std::unique_ptr<T> codec, omxCodecCommon* common) {
        auto lease = std::make_shared<Lease>();
        T* const raw = codec.get();
        lease->owned = std::move(codec);
        replace(lease, {std::shared_ptr<T>(raw, [lease](T*) { lease->release(); }), common});
    }

    void remove() { replace(nullptr, {}); }

  private:
    struct Lease {
        std::unique_ptr<T> owned;
        std::mutex mutex;
        std::condition_variable left;
        bool unused = false;  // guarded by mutex

        void release() {
            std::lock_guard<std::mutex> lock(mutex);
            unused = true;
            left.notify_all();
        }
    };

    void replace(std::shared_ptr<Lease> lease, Use use) {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            std::swap(mLease, lease);
            std::swap(mUse, use);
        }
        if (lease == nullptr) {
            return;
        }
        if (use.common != nullptr) {
            use.common->requestClose();
        }
        use = {};
        {
            std::unique_lock<std::mutex> lock(lease->mutex);
            lease->left.wait(lock, [&] { return lease->unused; });
        }
        lease->owned.reset();
    }

    mutable std::mutex mMutex;
    Use mUse;                       // guarded by mMutex
    std::shared_ptr<Lease> mLease;  // guarded by mMutex; belongs to mUse
};

}  // namespace zem
