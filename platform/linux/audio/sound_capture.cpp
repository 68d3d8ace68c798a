#include "platform/linux/audio/sound_capture.h"

#include "base/log.h"

namespace zem {

std::shared_ptr<SoundCapture> SoundCapture::start(int32_t rate, funcAudioHookCallback callback, void* user) {
    std::shared_ptr<SoundCapture> capture(new SoundCapture(callback, user));
    const char* why = nullptr;
    capture->mConnection = PulseConnection::open(&why);
    if (capture->mConnection == nullptr) {
        LOGE("No sound server to capture from: %s", why);
        return nullptr;
    }
    capture->mStream = capture->mConnection->record(rate);
    if (capture->mStream == nullptr) {
        LOGE("The sound server gives nothing to capture: %s", capture->mConnection->error());
        return nullptr;
    }
    // The thread keeps its capture: the one who stops from within the callback lets go of it at once.
    if (!capture->mThread.start("sound-capture", [capture] { capture->run(); })) {
        LOGE("No thread to capture sound with");
        return nullptr;
    }
    return capture;
}

void SoundCapture::stop() {
    mStopped = true;
    mConnection->wake();
    if (mThread.isCurrent()) {
        mThread.detach();
    } else {
        mThread.join();
    }
}

void SoundCapture::run() {
    while (!mStopped) {
        if (!readAll() || !mConnection->iterate(mStopped)) {
            LOGE("The sound server has gone away: the capture ends");
            return;
        }
    }
}

// Delivers what has arrived. False when the stream is lost.
bool SoundCapture::readAll() {
    while (!mStopped) {
        const void* data = nullptr;
        size_t size = 0;
        if (pa_stream_peek(mStream.get(), &data, &size) < 0) {
            return false;
        }
        if (size == 0) {
            return true;
        }
        mBlocks.add(data, size, [this](uint8_t* block) { deliver(block); });
        pa_stream_drop(mStream.get());
    }
    return true;
}

void SoundCapture::deliver(uint8_t* block) {
    if (!mStopped) {
        constexpr auto kSize = static_cast<int32_t>(SoundBlocks::kSize);
        AudioHookBuffer record{0, kSize, block, kSize};
        mCallback(kAudioHookEventBuffer, mUser, &record);
    }
}

}  // namespace zem
