#include "tests/context/fake_decoder.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <memory>
#include <thread>

#include "codec/omx_mpeg_video_decoder.h"
#include "context/hand_off.h"
#include "context/kiv_context.h"

namespace zem::test {
namespace {

/// The output thread of one decoder.
class Output {
  public:
    ~Output() {
        if (!mThread.joinable()) {
            return;
        }
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mEnded = true;
        }
        mChanged.notify_all();
        if (mThread.get_id() == std::this_thread::get_id()) {
            ++fakeDecoder().endedByOutputThread;
            mThread.detach();
        } else {
            mThread.join();
        }
    }

    void start() {
        mThread = std::thread([this] { run(); });
    }

    void add() {
        std::lock_guard<std::mutex> lock(mMutex);
        mPending = std::min(mPending + 1, 4);
        mChanged.notify_all();
    }

  private:
    void run() {
        std::vector<uint8_t> picture = fakeDecoder().picture;
        std::unique_lock<std::mutex> lock(mMutex);
        for (;;) {
            mChanged.wait(lock, [this] { return mEnded || mPending > 0; });
            if (mPending == 0) {
                return;
            }
            --mPending;
            lock.unlock();
            copyBufferForDecoder(picture.data(), static_cast<int>(picture.size()));
            if (KivContext* context = KivContext::existingInstance()) {
                context->SetDecodedSize(context->GetDecodedSize());  // holds the decoder for a moment
            }
            lock.lock();
        }
    }

    std::mutex mMutex;
    std::condition_variable mChanged;
    int mPending = 0;     // guarded by mMutex
    bool mEnded = false;  // guarded by mMutex
    std::thread mThread;
};

std::unique_ptr<FakeDecoder> gDecoder = std::make_unique<FakeDecoder>();
std::mutex gMutex;
std::map<const omxCodecCommon*, std::unique_ptr<Output>> gOutputs;  // guarded by gMutex

Output* outputOf(const omxCodecCommon* codec) {
    std::lock_guard<std::mutex> lock(gMutex);
    const auto found = gOutputs.find(codec);
    return found != gOutputs.end() ? found->second.get() : nullptr;
}

}  // namespace

FakeDecoder& fakeDecoder() {
    return *gDecoder;
}

void resetFakeDecoder() {
    gDecoder = std::make_unique<FakeDecoder>();
}

FakeOpenState* openStateOfDecoder(const omxCodecCommon* codec) {
    return outputOf(codec) != nullptr ? gDecoder.get() : nullptr;
}

}  // namespace zem::test

using zem::test::fakeDecoder;

omxMpegVideoDecoder::omxMpegVideoDecoder(const char* name) : omxCodecCommon(name) {
    std::lock_guard<std::mutex> lock(zem::test::gMutex);
    zem::test::gOutputs[this] = std::make_unique<zem::test::Output>();
    fakeDecoder().overlappingLives += fakeDecoder().living++ != 0 ? 1 : 0;
}

omxMpegVideoDecoder::~omxMpegVideoDecoder() {
    fakeDecoder().endedWhileDecoding += fakeDecoder().inDecode;
    std::unique_ptr<zem::test::Output> output;
    {
        std::lock_guard<std::mutex> lock(zem::test::gMutex);
        output = std::move(zem::test::gOutputs[this]);
        zem::test::gOutputs.erase(this);
    }
    output.reset();  // outside the lock: the thread may be asking whether the decoder is open
    --fakeDecoder().living;
}

int omxMpegVideoDecoder::open(int width, int height) {
    std::lock_guard<std::mutex> lock(fakeDecoder().mutex);
    fakeDecoder().opens.push_back({width, height});
    if (!fakeDecoder().picture.empty()) {
        zem::test::outputOf(this)->start();
    }
    return fakeDecoder().openResult;
}

int omxMpegVideoDecoder::decode(uint8_t* data, int size) {
    fakeDecoder().overlappingCalls += fakeDecoder().inDecode++ != 0 ? 1 : 0;
    {
        std::lock_guard<std::mutex> lock(fakeDecoder().mutex);
        fakeDecoder().units.emplace_back(data, data + size);
    }
    while (fakeDecoder().waitsForClose && !mUserData->closeRequested) {
        std::this_thread::yield();
    }
    if (!fakeDecoder().picture.empty()) {
        zem::test::outputOf(this)->add();
    }
    --fakeDecoder().inDecode;
    return fakeDecoder().decodeResult;
}

int omxMpegVideoDecoder::getBitmap(AndroidBitmapInfo* info, uint8_t* pixels) {
    if (info->format == ANDROID_BITMAP_FORMAT_RGB_565) {
        pixels[info->stride * info->height - 1] = 77;  // the last byte that `info` promises
        return 0;
    }
    return -1;
}

int omxMpegVideoDecoder::getWidth() {
    return fakeDecoder().width;
}

int omxMpegVideoDecoder::getHeight() {
    return fakeDecoder().height;
}

void omxMpegVideoDecoder::close(bool skipFinal) {
    fakeDecoder().endedWhileDecoding += fakeDecoder().inDecode;
    std::lock_guard<std::mutex> lock(fakeDecoder().mutex);
    fakeDecoder().closes.push_back(skipFinal);
}
