// A real Java VM inside a test program.
#pragma once

#include <jni.h>

#include <string>

namespace zem::test {

/// Loads libjvm and starts the VM with -Xcheck:jni; null when that fails. A process can start one, and
/// never a second: it lives to the process's end. The calling thread is attached.
JNIEnv* startJavaVm(const char* libjvm, const char* classPath);

/// What the VM printed so far: its own warnings, and those of -Xcheck:jni ("WARNING").
std::string javaVmOutput();

}  // namespace zem::test
