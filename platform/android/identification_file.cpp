// The chip-identification files of a device: the files themselves.
#include "codec/identification_file.h"

FILE* openIdentificationFile(const char* path) {
    return path != nullptr ? fopen(path, "r") : nullptr;
}
