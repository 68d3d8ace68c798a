// libaudiohookclient.so on Linux: what the sound server's default sink plays.
#include <map>
#include <mutex>

#include "audio/audio_hook_buffer.h"
#include "base/log.h"
#include "platform/linux/audio/sound_capture.h"

namespace {

constexpr int32_t kTheOnlyOutput = 1;
constexpr int32_t kSigned16Bit = 1;
constexpr int32_t kBlockSize = static_cast<int32_t>(zem::SoundBlocks::kSize);

// Rates that the codecs take; the server converts a sink of any other to the default.
constexpr int32_t kLowestRate = 11025;
constexpr int32_t kHighestRate = 48000;
constexpr int32_t kDefaultRate = 48000;

// What a hook delivers is what was reported last, also when the server has changed since.
std::atomic<int32_t> gRate{0};

std::mutex gMutex;
int32_t gLastHook = 0;  // guarded by gMutex

/// The running hooks, guarded by gMutex. Never torn down: a hook may still run while the process ends.
std::map<int32_t, std::shared_ptr<zem::SoundCapture>>& hooks() {
    static auto* const all = new std::map<int32_t, std::shared_ptr<zem::SoundCapture>>;
    return *all;
}

int32_t currentRate() {
    const std::unique_ptr<zem::PulseConnection> server = zem::PulseConnection::open(nullptr);
    const int32_t rate = server != nullptr ? server->defaultSinkRate() : 0;
    return rate >= kLowestRate && rate <= kHighestRate ? rate : kDefaultRate;
}

int32_t remember(std::shared_ptr<zem::SoundCapture> capture) {
    const std::lock_guard<std::mutex> lock(gMutex);
    do {
        gLastHook = gLastHook == INT32_MAX ? 1 : gLastHook + 1;
    } while (hooks().count(gLastHook) != 0);
    hooks()[gLastHook] = std::move(capture);
    return gLastHook;
}

std::shared_ptr<zem::SoundCapture> forget(int32_t hook) {
    const std::lock_guard<std::mutex> lock(gMutex);
    const auto found = hooks().find(hook);
    if (found == hooks().end()) {
        return nullptr;
    }
    std::shared_ptr<zem::SoundCapture> capture = std::move(found->second);
    hooks().erase(found);
    return capture;
}

}  // namespace

extern "C" {

int32_t getAudioHookMixerOutput() {
    return kTheOnlyOutput;
}

int32_t getAudioHookBufferSize(int32_t /*output*/) {
    return kBlockSize;
}

int32_t getAudioHookSampleRate(int32_t /*output*/) {
    gRate = currentRate();
    return gRate;
}

int32_t getAudioHookOutputFormat(int32_t /*output*/) {
    return kSigned16Bit;
}

int32_t startAudioHook(int32_t bufferSize, int32_t /*flags*/, funcAudioHookCallback callback, void* user) {
    if (bufferSize != kBlockSize || callback == nullptr) {
        LOGE("startAudioHook: blocks of %d bytes to %s", bufferSize,
             callback != nullptr ? "a callback" : "none");
        return 0;
    }
    if (gRate == 0) {
        gRate = currentRate();
    }
    std::shared_ptr<zem::SoundCapture> capture = zem::SoundCapture::start(gRate, callback, user);
    return capture != nullptr ? remember(std::move(capture)) : 0;
}

void stopAudioHook(int32_t hook) {
    const std::shared_ptr<zem::SoundCapture> capture = forget(hook);
    if (capture != nullptr) {
        capture->stop();
    }
}

}  // extern "C"
