// List<T>: the platform's doubly linked list, over the standard one.
#pragma once

#include <stddef.h>

#include <list>

namespace android {

/// Not thread-safe.
template <typename T>
class List {
  public:
    typedef typename std::list<T>::iterator iterator;
    typedef typename std::list<T>::const_iterator const_iterator;

    List() = default;
    List(const List&) = default;
    List& operator=(const List&) = default;
    virtual ~List() = default;

    iterator begin() { return mItems.begin(); }
    iterator end() { return mItems.end(); }
    const_iterator begin() const { return mItems.begin(); }
    const_iterator end() const { return mItems.end(); }

    bool empty() const { return mItems.empty(); }
    size_t size() const { return mItems.size(); }

    void push_back(const T& item) { mItems.push_back(item); }
    void push_front(const T& item) { mItems.push_front(item); }
    iterator insert(iterator position, const T& item) { return mItems.insert(position, item); }
    iterator erase(iterator position) { return mItems.erase(position); }
    void clear() { mItems.clear(); }

  private:
    std::list<T> mItems;
};

}  // namespace android
