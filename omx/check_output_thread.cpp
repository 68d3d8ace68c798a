#include "omx/check_output_thread.h"

CheckOutputThread& g_OutputThreadArray = *new CheckOutputThread;

int CheckOutputThread::add(int* drawn) {
    const int own = serial.fetch_add(1) + 1;
    if (drawn != nullptr) {
        *drawn = own;
    }
    for (int slot = 0; slot < capacity; slot++) {
        int free = 0;
        if (slots[slot].compare_exchange_strong(free, own)) {
            return slot;
        }
    }
    return 0;  // sharing slot 0 is harmless: its owner's end only ends this thread early
}

void CheckOutputThread::del(int slot) {
    if (inRange(slot)) {
        slots[slot] = 0;
    }
}

void CheckOutputThread::del(int slot, int owner) {
    if (inRange(slot)) {
        slots[slot].compare_exchange_strong(owner, 0);
    }
}

int CheckOutputThread::getCount(int slot) const {
    return inRange(slot) ? slots[slot].load() : 0;
}
