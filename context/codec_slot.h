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
        replace(lease, {std::shared_ptr<T>(raw, [lease](T*) { lease->release(); }), common}, [](T&) {});
    }

    void remove() {
        remove([](T&) {});
    }

    /// `end` gets the codec just before it is destroyed, when no other thread is inside it.
    template <class End>
    void remove(End end) {
        replace(nullptr, {}, end);
    }

    /// Waits for codecs that other threads have removed and not destroyed yet. For the only thread that
    /// puts: afterwards there is none but what get() gives.
    void awaitEnds() {
        std::unique_lock<std::mutex> lock(mMutex);
        mEnded.wait(lock, [this] { return mEnding == 0; });
    }

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

    template <class End>
    void replace(std::shared_ptr<Lease> lease, Use use, End end) {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            std::swap(mLease, lease);
            std::swap(mUse, use);
            mEnding += lease != nullptr ? 1 : 0;
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
        end(*lease->owned);
        lease->owned.reset();
        std::lock_guard<std::mutex> lock(mMutex);
        --mEnding;
        mEnded.notify_all();
    }

    mutable std::mutex mMutex;
    std::condition_variable mEnded;  // mEnding became lower
    int mEnding = 0;                 // guarded by mMutex; codecs on their way out of replace()
    Use mUse;                        // guarded by mMutex
    std::shared_ptr<Lease> mLease;   // guarded by mMutex; belongs to mUse
};

}  // namespace zem
