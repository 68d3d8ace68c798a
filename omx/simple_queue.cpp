#include "omx/simple_queue.h"

SimpleNode::~SimpleNode() {
    // Unlinks one node at a time: a chain of any length must not recurse once a link.
    while (next != nullptr) {
        SimpleNode* node = next;
        next = node->next;
        node->next = nullptr;
        delete node;
    }
}

SimpleQueue::~SimpleQueue() {
    delete head;
    pthread_mutex_destroy(&mutex);
}

void SimpleQueue::add(void* item) {
    auto* node = new SimpleNode(item);
    if (tail == nullptr) {
        head = node;
    } else {
        tail->setNext(node);
    }
    tail = node;
}

void* SimpleQueue::dequeue() {
    if (head == nullptr) {
        return nullptr;
    }
    SimpleNode* node = head;
    void* item = node->getData();
    head = node->getNext();
    if (head == nullptr) {
        tail = nullptr;
    }
    node->setNext(nullptr);
    delete node;
    return item;
}

void SimpleQueue::lock() {
    pthread_mutex_lock(&mutex);
}

void SimpleQueue::unlock() {
    pthread_mutex_unlock(&mutex);
}
