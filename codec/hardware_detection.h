// Which family of chip this device has: decides component names, encoder input and decoder output.
// The codes (HW_BASE_*) are listed in omx/hardware_base.h; bit 0x2000 marks the Qualcomm family, bit
// 0x1000 the Samsung family, 0 means unknown.
#pragma once

#include <cstdint>

/// Part of the library's outer interface for the tools that look it up by name; the engine itself
/// neither reads nor writes it.
extern int32_t g_hwVersion;

/// The hardware base that the system-on-chip build id stands for, or 0 when the device has no such
/// file or its build id is not a Qualcomm one.
unsigned getQualcommHardwareBase();

/// The hardware base of this device: from the build id, else from the Hardware line of
/// /proc/cpuinfo, else 0. Reads the files on every call; any thread.
int GetHardwareBase();

/// The hardware base that a component's name implies, or 0. A null name implies nothing.
int AssumeHardwareBase(const char* componentName);
