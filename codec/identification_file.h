// The one way to the files that identify the chip; each platform supplies it at link time.
#pragma once

#include <cstdio>

/// Opens the chip-identification file `path` for reading, as fopen(path, "r") does on a device.
/// A platform without such hardware answers with what its chosen chip profile would hold. Returns
/// null when there is no such file; the caller closes the stream.
FILE* openIdentificationFile(const char* path);
