// How much of the log a developer sees: ZEM_LOG_LEVEL=verbose shows all levels, else it begins at INFO.
// The library of Debian's that prints the log has no setting from outside; it is asked at load.
#include <android/log.h>

#include <cstdlib>
#include <cstring>

namespace {

bool applyLogLevel() {
    const char* level = getenv("ZEM_LOG_LEVEL");
    const bool verbose = level != nullptr && strcmp(level, "verbose") == 0;
    if (verbose) {
        __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    }
    return verbose;
}

[[maybe_unused]] const bool gVerbose = applyLogLevel();

}  // namespace
