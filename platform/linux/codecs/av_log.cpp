#include "platform/linux/codecs/av_log.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <cstdarg>
#include <cstring>

#include "base/log.h"

namespace zem {
namespace {

void logAvMessage(void* source, int level, const char* format, va_list arguments) {
    if (level > AV_LOG_WARNING) {
        return;
    }
    char line[512];
    int printPrefix = 1;
    av_log_format_line2(source, level, format, arguments, line, sizeof(line), &printPrefix);
    line[strcspn(line, "\n")] = '\0';
    LOGW("%s", line);
}

}  // namespace

void sendAvMessagesToLog() {
    av_log_set_callback(logAvMessage);
}

std::string avErrorText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = "";
    av_strerror(error, text, sizeof(text));
    return text;
}

}  // namespace zem
