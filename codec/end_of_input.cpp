#include "codec/end_of_input.h"

#include <time.h>

#include "base/clock.h"
#include "base/log.h"
#include "codec/omx_interface.h"
#include "omx/result_codes.h"

namespace {

constexpr int kEndLimitMillis = 3000;
// How often the wait looks up: another codec may take the post that was meant for this one.
constexpr int kLookMillis = 500;
constexpr int kNever = -2;

bool isBefore(const timespec& one, const timespec& other) {
    return one.tv_sec < other.tv_sec || (one.tv_sec == other.tv_sec && one.tv_nsec < other.tv_nsec);
}

bool isPast(const timespec& deadline) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return !isBefore(now, deadline);
}

}  // namespace

namespace zem {

int sendEndOfInput(void* handle, int timestamp, InputSemaphore& semaphore, const char* function) {
    const timespec deadline = deadlineAfterMillis(kEndLimitMillis);
    for (;;) {
        const int result = omx_interface_send_end_of_input_flag(handle, timestamp);
        if (result == 0) {
            return 0;
        }
        const int error = omx_interface_error(handle);
        if (error != 0) {
            return error;
        }
        if (result == kNever) {
            return result;  // no later try can succeed
        }
        const timespec look = deadlineAfterMillis(kLookMillis);
        semaphore.waitUntil(isBefore(look, deadline) ? look : deadline, function);
        if (isPast(deadline)) {
            LOGE("%s : the component keeps its input buffers", function);
            return OMX_RESULT_TIMED_OUT;
        }
    }
}

}  // namespace zem
