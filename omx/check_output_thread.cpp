#include "omx/check_output_thread.h"

CheckOutputThread& g_OutputThreadArray = *new CheckOutputThread;

int CheckOutputThread::add(int* serial) {
    const int drawn = mSerial.fetch_add(1) + 1;
    if (serial != nullptr) {
        *serial = drawn;
    }
    for (int slot = 0; slot < kCapacity; slot++) {
        int free = 0;
        if (mSlots[slot].compare_exchange_strong(free, drawn)) {
            return slot;
        }
    }
    return 0;  // sharing slot 0 is harmless: its owner's end only ends this thread early
}

void CheckOutputThread::del(int slot) {
    if (inRange(slot)) {
        mSlots[slot] = 0;
    }
}

void CheckOutputThread::del(int slot, int serial) {
    if (inRange(slot)) {
        mSlots[slot].compare_exchange_strong(serial, 0);
    }
}

int CheckOutputThread::getCount(int slot) const {
    return inRange(slot) ? mSlots[slot].load() : 0;
}
