// RefBase, the base of every counted object, and wp<T>, a reference that does not keep one alive.
#pragma once

#include <stdint.h>
#include <utils/StrongPointer.h>

#include <atomic>

namespace android {

class RefBase;

namespace detail {

/// The counters of one object. They outlive it while weak references remain.
class RefCounts {
  public:
    RefCounts() = default;
    RefCounts(const RefCounts&) = delete;
    RefCounts& operator=(const RefCounts&) = delete;

    void incWeak() { mWeak.fetch_add(1, std::memory_order_relaxed); }
    void decWeak() {
        if (mWeak.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }
    /// Returns true for the first strong reference that the object ever had.
    bool incStrong() { return settleFirst(mStrong.fetch_add(1, std::memory_order_relaxed)); }
    /// Returns true when the last strong reference went.
    bool decStrong() { return mStrong.fetch_sub(1, std::memory_order_acq_rel) == 1; }
    /// Takes a strong reference unless the object's last one has gone. `*first` as incStrong().
    bool tryIncStrong(bool* first) {
        int32_t count = mStrong.load(std::memory_order_relaxed);
        while (count > 0) {
            if (mStrong.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel,
                                              std::memory_order_relaxed)) {
                *first = settleFirst(count);
                return true;
            }
        }
        return false;
    }
    int32_t strong() const { return mStrong.load(std::memory_order_relaxed); }

  private:
    // Added to the count of an object that nobody has referenced yet: tells "not yet" from "no more".
    static constexpr int32_t kNeverReferenced = 1 << 28;

    bool settleFirst(int32_t before) {
        if (before != kNeverReferenced) {
            return false;
        }
        mStrong.fetch_sub(kNeverReferenced, std::memory_order_relaxed);
        return true;
    }

    std::atomic<int32_t> mStrong{kNeverReferenced};
    std::atomic<int32_t> mWeak{1};  // the object itself counts as one
};

}  // namespace detail

/// An object that deletes itself with its last strong reference. Count from any thread.
class RefBase {
  public:
    void incStrong(const void* id) const;
    void decStrong(const void* id) const;
    int32_t getStrongCount() const { return mCounts->strong(); }

    RefBase(const RefBase&) = delete;
    RefBase& operator=(const RefBase&) = delete;

  protected:
    RefBase() : mCounts(new detail::RefCounts) {}
    virtual ~RefBase() { mCounts->decWeak(); }

    virtual void onFirstRef() {}
    virtual void onLastStrongRef(const void* /*id*/) {}

  private:
    template <typename T>
    friend class wp;

    detail::RefCounts* const mCounts;
};

/// Follows an object without keeping it alive; promote() gives a strong reference or null.
template <typename T>
class wp {
  public:
    wp() = default;
    wp(T* other) { adopt(other); }                  // NOLINT(google-explicit-constructor)
    wp(const sp<T>& other) { adopt(other.m_ptr); }  // NOLINT(google-explicit-constructor)
    wp(const wp<T>& other) : m_ptr(other.m_ptr), m_counts(other.m_counts) { acquire(); }
    template <typename U>
    wp(U* other) {  // NOLINT(google-explicit-constructor)
        adopt(other);
    }
    template <typename U>
    wp(const sp<U>& other) {  // NOLINT(google-explicit-constructor)
        adopt(other.m_ptr);
    }
    template <typename U>
    wp(const wp<U>& other) : m_ptr(other.m_ptr), m_counts(other.m_counts) {  // NOLINT
        acquire();
    }
    ~wp() { release(); }

    wp& operator=(const wp<T>& other) {  // NOLINT(bugprone-unhandled-self-assignment)
        wp(other).swap(*this);
        return *this;
    }
    wp& operator=(T* other) {
        wp(other).swap(*this);
        return *this;
    }
    template <typename U>
    wp& operator=(const U& other) {
        wp(other).swap(*this);
        return *this;
    }

    /// Null when the object has gone or is going.
    sp<T> promote() const {
        sp<T> strong;
        bool first = false;
        if (m_ptr != nullptr && m_counts->tryIncStrong(&first)) {
            strong.m_ptr = m_ptr;
            if (first) {
                static_cast<RefBase*>(m_ptr)->onFirstRef();
            }
        }
        return strong;
    }

    void clear() { wp().swap(*this); }
    T* unsafe_get() const { return m_ptr; }

    ZEM_ALL_REFERENCE_COMPARISONS

  private:
    template <typename U>
    friend class sp;
    template <typename U>
    friend class wp;

    void adopt(T* object) {
        m_ptr = object;
        m_counts = object != nullptr ? static_cast<const RefBase*>(object)->mCounts : nullptr;
        acquire();
    }
    void acquire() {
        if (m_counts != nullptr) {
            m_counts->incWeak();
        }
    }
    void release() {
        if (m_counts != nullptr) {
            m_counts->decWeak();
        }
    }
    void swap(wp& other) {
        T* const object = m_ptr;
        detail::RefCounts* const counts = m_counts;
        m_ptr = other.m_ptr;
        m_counts = other.m_counts;
        other.m_ptr = object;
        other.m_counts = counts;
    }

    T* m_ptr = nullptr;                     // may point to an object that has gone: only promote() may use it
    detail::RefCounts* m_counts = nullptr;  // null with m_ptr
};

#undef ZEM_COMPARE_REFERENCES

}  // namespace android
