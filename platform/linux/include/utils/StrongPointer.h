// sp<T>: a counted reference to an object derived from RefBase.
#pragma once

#include <stddef.h>

namespace android {

template <typename T>
class wp;

// The comparisons are members only: as in the platform, `nullptr == sp` does not compile.
#define ZEM_COMPARE_REFERENCES(OP)               \
    bool operator OP(const sp<T>& other) const { \
        return m_ptr OP other.m_ptr;             \
    }                                            \
    bool operator OP(const T* other) const {     \
        return m_ptr OP other;                   \
    }                                            \
    bool operator OP(const wp<T>& other) const { \
        return m_ptr OP other.m_ptr;             \
    }                                            \
    template <typename U>                        \
    bool operator OP(const sp<U>& other) const { \
        return m_ptr OP other.m_ptr;             \
    }                                            \
    template <typename U>                        \
    bool operator OP(const U* other) const {     \
        return m_ptr OP other;                   \
    }                                            \
    template <typename U>                        \
    bool operator OP(const wp<U>& other) const { \
        return m_ptr OP other.m_ptr;             \
    }

// The formatter takes these for operators and finds no end.
// clang-format off
#define ZEM_ALL_REFERENCE_COMPARISONS \
    ZEM_COMPARE_REFERENCES(==) \
    ZEM_COMPARE_REFERENCES(!=) \
    ZEM_COMPARE_REFERENCES(>) \
    ZEM_COMPARE_REFERENCES(<) \
    ZEM_COMPARE_REFERENCES(<=) \
    ZEM_COMPARE_REFERENCES(>=)
// clang-format on

/// One object may be referenced from any threads; one sp is used by one thread at a time.
/// There is no conversion to bool, as in the platform: compare with NULL.
template <typename T>
class sp {
  public:
    sp() : m_ptr(nullptr) {}
    sp(T* other) : m_ptr(other) { acquire(); }  // NOLINT(google-explicit-constructor)
    sp(const sp<T>& other) : m_ptr(other.m_ptr) { acquire(); }
    template <typename U>
    sp(U* other) : m_ptr(other) {  // NOLINT(google-explicit-constructor)
        acquire();
    }
    template <typename U>
    sp(const sp<U>& other) : m_ptr(other.m_ptr) {  // NOLINT(google-explicit-constructor)
        acquire();
    }
    ~sp() { release(m_ptr); }

    sp& operator=(T* other) {
        replace(other);
        return *this;
    }
    sp& operator=(const sp<T>& other) {  // NOLINT(bugprone-unhandled-self-assignment): replace() is safe
        replace(other.m_ptr);
        return *this;
    }
    template <typename U>
    sp& operator=(U* other) {
        replace(other);
        return *this;
    }
    template <typename U>
    sp& operator=(const sp<U>& other) {
        replace(other.m_ptr);
        return *this;
    }

    void clear() { replace(nullptr); }

    T& operator*() const { return *m_ptr; }
    T* operator->() const { return m_ptr; }
    T* get() const { return m_ptr; }

    ZEM_ALL_REFERENCE_COMPARISONS

  private:
    template <typename U>
    friend class sp;
    template <typename U>
    friend class wp;

    void acquire() {
        if (m_ptr != nullptr) {
            m_ptr->incStrong(this);
        }
    }
    void release(T* object) {
        if (object != nullptr) {
            object->decStrong(this);
        }
    }
    // The old object goes last: its destructor may look at this very reference.
    void replace(T* object) {
        T* const old = m_ptr;
        if (object != nullptr) {
            object->incStrong(this);
        }
        m_ptr = object;
        release(old);
    }

    T* m_ptr;
};

}  // namespace android
