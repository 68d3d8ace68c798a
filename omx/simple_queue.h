// A first-in first-out queue of untyped pointers with a lock that its users take themselves.
#pragma once

#include <pthread.h>

/// One link of a queue. Owns the links after it, never the data.
class SimpleNode {
  public:
    explicit SimpleNode(void* item) : data(item) {}
    /// Deletes the whole chain behind this node.
    ~SimpleNode();
    SimpleNode(const SimpleNode&) = delete;
    SimpleNode& operator=(const SimpleNode&) = delete;

    void* getData() const { return data; }
    SimpleNode* getNext() const { return next; }
    void setNext(SimpleNode* node) { next = node; }

  private:
    void* data;
    SimpleNode* next = nullptr;  // owned
};

/// Neither add() nor dequeue() locks: whoever shares the queue brackets them with lock() and
/// unlock(). The queue has no limit of its own; each user says what bounds it. Pointers still queued
/// at destruction are forgotten, not freed.
class SimpleQueue {
  public:
    SimpleQueue() = default;
    ~SimpleQueue();
    SimpleQueue(const SimpleQueue&) = delete;
    SimpleQueue& operator=(const SimpleQueue&) = delete;

    void add(void* item);
    /// The oldest pointer, or null when the queue is empty.
    void* dequeue();
    void lock();
    void unlock();

  private:
    SimpleNode* head = nullptr;  // owned; guarded by mutex once the queue is shared
    SimpleNode* tail = nullptr;  // the last node of head's chain; guarded likewise
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
};
