// How the pixel loops use vector instructions: one source, compiled for each instruction set, chosen as it
// runs.
#pragma once

#include <hwy/detect_targets.h>

// Each *_kernel.cpp holds a pixel loop that looks everything up in tables: convert...Table(), which
// runs anywhere and defines what comes out. Its *_simd.cpp holds the same loop written with Highway,
// equal to the last byte and touching no other memory, and convert...(), which takes the best variant
// for the machine, once a frame. Built without ZEM_SIMD, simd_off.cpp forwards to the tables.
//
// A *_simd.cpp is included by foreach_target.h once for each instruction set (target):
//
//   #undef HWY_TARGET_INCLUDE
//   #define HWY_TARGET_INCLUDE "color/x_simd.cpp"
//   #include <hwy/foreach_target.h>
//   #include <hwy/highway.h>
//
//   HWY_BEFORE_NAMESPACE();
//   namespace zem::HWY_NAMESPACE {
//   namespace {
//   #if ZEM_TABLE_TARGET
//   void convertX(const XFrame& frame) { convertXTable(frame); }
//   #else
//   ...  // hn = hwy::HWY_NAMESPACE; a lambda needs HWY_ATTR behind its parameters
//   #endif
//   }  // namespace
//   }  // namespace zem::HWY_NAMESPACE
//   HWY_AFTER_NAMESPACE();
//
//   #if HWY_ONCE
//   namespace zem {
//   namespace {
//   HWY_EXPORT(convertX);
//   }
//   void convertX(const XFrame& frame) { HWY_DYNAMIC_DISPATCH(convertX)(frame); }
//   }  // namespace zem
//   #endif
//
// tests/support/simd_targets.h runs a test for each target of the machine in turn.

/// Targets without vectors, or with vectors whose size only the machine knows: they use the tables.
#define ZEM_TABLE_TARGET (HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128 || HWY_HAVE_SCALABLE)
