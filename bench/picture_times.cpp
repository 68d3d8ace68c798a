// Reads an H.264 byte stream and prints when each picture came, in microseconds of the wall clock.
#include <sys/time.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>

namespace {

/// Whether these are a start code and the start of a picture's first slice: one that begins with macroblock
/// 0, a number whose code is a single set bit.
bool beginsPicture(uint64_t lastBytes) {
    const uint64_t type = lastBytes >> 8 & 31;
    return (lastBytes >> 16 & 0xFFFFFF) == 1 && (type == 1 || type == 5) && (lastBytes & 0x80) != 0;
}

}  // namespace

int main() {
    uint8_t bytes[1 << 16];
    uint64_t last = UINT64_MAX;
    for (ssize_t count = 0; (count = read(STDIN_FILENO, bytes, sizeof bytes)) > 0;) {
        timeval now{};
        gettimeofday(&now, nullptr);
        for (ssize_t i = 0; i < count; ++i) {
            last = last << 8 | bytes[i];
            if (beginsPicture(last)) {
                printf("%" PRId64 "\n", now.tv_sec * int64_t{1000000} + now.tv_usec);
            }
        }
    }
    return 0;
}
