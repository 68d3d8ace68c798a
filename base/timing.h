// Deadlines, and the exported aids for measuring and dumping in the field. All may be called from any
// thread and take the time from the installed clock.
#pragma once

#include <time.h>

#include <cstdint>

/// The time of day in milliseconds; wraps at 32 bits.
unsigned getTimeTick();

/// Adds the time since the last call, of whatever type, to the statistics of an event type from 0 to 3;
/// the first call of all adds the whole tick. Returns the type's sum in milliseconds, which wraps. The
/// 100th call of a type logs its average and begins anew with 0. Other types count nothing and give 0.
int getTimeDelay(int type);

/// Sets `ts` to the absolute time `ms` milliseconds, 0 or more, from now, for timed waits; returns `ts`.
timespec* setDelayTimeout(int ms, timespec* ts);

/// Writes `size` bytes to a file, which is created or replaced. A file that cannot be opened is logged;
/// whether all was written is not looked at.
void saveAsFile(char* path, uint8_t* data, int size);
