// A first-in first-out queue of untyped pointers with a lock that its users take themselves.
#pragma once

#include <pthread.h>

/// One link of a queue. Owns the links after it, never the data.
class SimpleNode {
  public:
    explicit SimpleNode(void* data) : mData(data) {}
    /// Deletes the whole chain behind this node.
    ~SimpleNode();
    SimpleNode(const SimpleNode&) = delete;
    SimpleNode& operator=(const SimpleNode&) = delete;

    void* getData() const { return mData; }
    SimpleNode* getNext() const { return mNext; }
    void setNext(SimpleNode* next) { mNext = next; }

  private:
    void* mData;
    SimpleNode* mNext = nullptr;  // owned
};

/// Neither add() nor dequeue() locks: whoever shares the queue brackets them with lock() and
/// unlock(). The queue has no limit of its own; each user says what bounds it. Pointers still queued
/// at destruction are forgotten, not freed.
class SimpleQueue {
  public:
    SimpleQueue();
    ~SimpleQueue();
    SimpleQueue(const SimpleQueue&) = delete;
    SimpleQueue& operator=(const SimpleQueue&) = delete;

    void add(void* data);
    /// The oldest pointer, or null when the queue is empty.
    void* dequeue();
    void lock();
    void unlock();

  private:
    SimpleNode* mHead = nullptr;  // owned; guarded by mMutex once the queue is shared
    SimpleNode* mTail = nullptr;  // the last node of mHead's chain; guarded likewise
    pthread_mutex_t mMutex;
};
