// libavcodec's messages in the platform's log.
#pragma once

#include <string>

namespace zem {

/// Sends libavcodec's warnings and errors to the log at level 5, for the whole process; what is below a
/// warning is dropped. The caller of a failed call logs the failure itself, at level 6.
void sendAvMessagesToLog();

/// The text of an AVERROR code.
std::string avErrorText(int error);

}  // namespace zem
