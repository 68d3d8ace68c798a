// What all hardware codec wrappers share: the component handle, the user-data record, the name.
#pragma once

#include <pthread.h>
#include <time.h>

#include <atomic>
#include <memory>

#include "codec/codec_user_data.h"

/// Output that was taken out of a codec.
struct GatheredOutput {
    std::unique_ptr<unsigned char[]> bytes;  // null when there is none
    int size = 0;                            // bytes
};

/// A base part of every hardware codec; never deleted through this type. The queries and
/// requestClose() may be called from any thread while the object lives, all else belongs to the
/// thread that opens, feeds and closes the codec.
class omxCodecCommon {
  public:
    /// `name`: the component to use, or null to have it detected. At most 127 bytes of it are kept.
    explicit omxCodecCommon(const char* name);
    ~omxCodecCommon();
    omxCodecCommon(const omxCodecCommon&) = delete;
    omxCodecCommon& operator=(const omxCodecCommon&) = delete;

    /// The gathered output, or null when output is delivered onward.
    unsigned char* GetBuffer() const;
    /// Bytes gathered at GetBuffer().
    int GetUsedSize();
    void SetUsedSize(int size);
    /// Takes all gathered output out and leaves none, in one step that no new output can come between.
    /// Any thread; deliver it without a lock.
    GatheredOutput takeGathered();

    /// Not 0 while the codec runs: the result of its last open.
    int IsOpen() const;

    /// Makes a call that waits for the component on another thread return, and keeps later ones from
    /// waiting; the next open clears it. Raise this, wait until the call has left, then delete the
    /// codec.
    void requestClose();

    /// Waits on the record's condition; the caller holds the record's mutex (omxCodecLock). Returns
    /// what the pthread function returns: 0 when woken, ETIMEDOUT past the absolute `deadline`
    /// (CLOCK_REALTIME).
    int omxCodecWait();
    int omxCodecTimeWait(timespec* deadline);
    void omxCodecLock();
    void omxCodecUnlock();
    void omxCodecSignal();

  protected:
    /// Frees the record's second buffer. Only while no component runs.
    void close();
    /// The component to use when the constructor got no name.
    void useName(const char* name);

    /// The component of the flat driver API; null while none runs.
    void* mHandle = nullptr;
    /// The record's used count as last seen.
    std::atomic<int> mCachedUsed{0};
    /// Owned. Null only when memory ran out.
    codecUserData* mUserData = nullptr;
    /// Component name, kComponentNameSize bytes, or null until it is known. Owned.
    char* mComponentName = nullptr;
    /// Tells the component's deInit to abandon the stream instead of ending it in order.
    std::atomic<bool> mDeinitFlag{false};
    /// Deinit only ends the component's output thread.
    std::atomic<bool> mForceFlag{false};
};

void omxLock(pthread_mutex_t* mutex);
void omxUnlock(pthread_mutex_t* mutex);
void omxSignal(pthread_cond_t* condition);
