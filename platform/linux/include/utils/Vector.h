// Vector<T>: the platform's growing array, over the standard one.
#pragma once

#include <sys/types.h>
#include <utils/Errors.h>

#include <vector>

namespace android {

/// Not thread-safe. Pointers and iterators into it die when it grows or shrinks.
template <typename T>
class Vector {
  public:
    typedef T value_type;
    typedef T* iterator;
    typedef T const* const_iterator;

    Vector() = default;
    Vector(const Vector&) = default;
    Vector& operator=(const Vector&) = default;
    virtual ~Vector() = default;

    size_t size() const { return mItems.size(); }
    bool isEmpty() const { return mItems.empty(); }
    bool empty() const { return mItems.empty(); }
    void clear() { mItems.clear(); }

    /// Appends; returns the index of the new item.
    ssize_t add(const T& item) {
        mItems.push_back(item);
        return static_cast<ssize_t>(mItems.size() - 1);
    }
    void push(const T& item) { mItems.push_back(item); }
    void push_back(const T& item) { mItems.push_back(item); }

    const T& operator[](size_t index) const { return mItems[index]; }
    const T& itemAt(size_t index) const { return mItems[index]; }
    T& editItemAt(size_t index) { return mItems[index]; }

    /// Returns `index`, or BAD_VALUE when there is no such item.
    ssize_t removeAt(size_t index) {
        if (index >= mItems.size()) {
            return BAD_VALUE;
        }
        mItems.erase(mItems.begin() + static_cast<ssize_t>(index));
        return static_cast<ssize_t>(index);
    }
    iterator erase(iterator position) {
        const ssize_t index = position - begin();
        removeAt(static_cast<size_t>(index));
        return begin() + index;
    }

    const T* array() const { return mItems.data(); }
    T* editArray() { return mItems.data(); }
    iterator begin() { return mItems.data(); }
    iterator end() { return mItems.data() + mItems.size(); }
    const_iterator begin() const { return mItems.data(); }
    const_iterator end() const { return mItems.data() + mItems.size(); }

  private:
    std::vector<T> mItems;
};

}  // namespace android
