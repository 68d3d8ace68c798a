#include "omx/simple_queue.h"

SimpleNode::~SimpleNode() {
    // Unlinks one node at a time: a chain of any length must not recurse once a link.
    while (mNext != nullptr) {
        SimpleNode* next = mNext;
        mNext = next->mNext;
        next->mNext = nullptr;
        delete next;
    }
}

SimpleQueue::SimpleQueue() {
    pthread_mutex_init(&mMutex, nullptr);
}

SimpleQueue::~SimpleQueue() {
    delete mHead;
    pthread_mutex_destroy(&mMutex);
}

void SimpleQueue::add(void* data) {
    auto* node = new SimpleNode(data);
    if (mTail == nullptr) {
        mHead = node;
    } else {
        mTail->setNext(node);
    }
    mTail = node;
}

void* SimpleQueue::dequeue() {
    if (mHead == nullptr) {
        return nullptr;
    }
    SimpleNode* node = mHead;
    void* data = node->getData();
    mHead = node->getNext();
    if (mHead == nullptr) {
        mTail = nullptr;
    }
    node->setNext(nullptr);
    delete node;
    return data;
}

void SimpleQueue::lock() {
    pthread_mutex_lock(&mMutex);
}

void SimpleQueue::unlock() {
    pthread_mutex_unlock(&mMutex);
}
