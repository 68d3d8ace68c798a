// The process-wide register of data-output threads that may keep running.
#pragma once

#include <atomic>

/// Hands out slots; a thread runs on while its slot is taken. Lock-free, any thread.
class CheckOutputThread {
  public:
    static constexpr int capacity = 100;

    /// Takes the first free slot and returns its index. With all slots taken it returns 0 without
    /// storing anything: that caller's thread then shares slot 0. `drawn`, if given, receives the
    /// number drawn for this call, in either case.
    int add(int* drawn = nullptr);
    /// Frees a slot, whoever holds it. Indices out of range are ignored.
    void del(int slot);
    /// Frees a slot only while it still holds the serial number `owner`: another owner may have taken it
    /// since.
    void del(int slot, int owner);
    /// True while the slot is taken; false for an index out of range.
    bool isAlive(int slot) const { return getCount(slot) > 0; }
    /// The serial number stored in the slot; 0 when it is free or out of range. Log lines print it.
    int getCount(int slot) const;

  private:
    static bool inRange(int slot) { return slot >= 0 && slot < capacity; }

    std::atomic<int> slots[capacity] = {};  // 0 = free, else the owner's serial
    std::atomic<int> serial{0};
};

/// Built when the library is loaded and never destroyed: output threads may outlive static
/// destructors at the end of the process.
extern CheckOutputThread& g_OutputThreadArray;
