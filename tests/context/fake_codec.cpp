#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include "codec/omx_aac_decoder.h"
#include "codec/omx_aac_encoder.h"
#include "codec/omx_mpeg_video_decoder.h"
#include "codec/omx_mpeg_video_encoder.h"
#include "color/color_converter.h"
#include "context/hand_off.h"
#include "context/kiv_context.h"
#include "tests/context/fake_media.h"

namespace zem::test {
namespace {

std::unique_ptr<FakeEncoder> gEncoder = std::make_unique<FakeEncoder>();
std::unique_ptr<FakeDecoder> gDecoder = std::make_unique<FakeDecoder>();
std::unique_ptr<FakeAac> gAac = std::make_unique<FakeAac>();

/// One codec, with its output thread.
class Life {
  public:
    Life(FakeCodec& kind, int (*deliver)(uint8_t*, int)) : mKind(kind), mDeliver(deliver) {
        mKind.overlappingLives += mKind.living++ != 0 ? 1 : 0;
    }

    ~Life() {
        mKind.endedInCall += mKind.inCall;
        mEnded = true;
        if (mThread.get_id() == std::this_thread::get_id()) {
            ++mKind.endedByOutputThread;
            mThread.detach();
        } else if (mThread.joinable()) {
            mThread.join();
        }
        --mKind.living;
    }

    int open(const std::string& arguments) {
        std::lock_guard<std::mutex> lock(mKind.mutex);
        mKind.opens.push_back(arguments);
        if (!mKind.output.empty()) {
            mThread = std::thread([this, unit = mKind.output]() mutable { play(unit); });
        }
        return mKind.openResult;
    }

    /// A call with data; `note` keeps what is remembered of it.
    int call(const std::atomic<bool>& closeRequested, const std::function<void()>& note) {
        mKind.overlappingCalls += mKind.inCall++ != 0 ? 1 : 0;
        {
            std::lock_guard<std::mutex> lock(mKind.mutex);
            note();
        }
        while (mKind.waitsForClose && !closeRequested) {
            std::this_thread::yield();
        }
        --mKind.inCall;
        return mKind.result;
    }

    int isOpen() { return mKind.openQueries-- > 0; }

  private:
    void play(std::vector<uint8_t>& unit) {
        while (!mEnded) {
            mDeliver(unit.data(), static_cast<int>(unit.size()));
            if (KivContext* context = KivContext::existingInstance()) {  // holds the codecs for a moment
                context->SetEncodedSize(context->GetEncodedSize());
                context->SetDecodedSize(context->GetDecodedSize());
                context->GetAudEncodedSize();
            }
            std::this_thread::sleep_for(std::chrono::microseconds(100));  // lets others have the locks
        }
    }

    FakeCodec& mKind;
    int (*const mDeliver)(uint8_t*, int);
    std::atomic<bool> mEnded{false};
    std::thread mThread;
};

/// What stands here for the component.
Life& lifeOf(void* handle) {
    return *static_cast<Life*>(handle);
}

int feedAac(void* handle, codecUserData& record, const uint8_t* data, int size) {
    const auto note = [=] { fakeAac().blocks.emplace_back(data, data + size); };
    const int result = lifeOf(handle).call(record.closeRequested, note);
    pthread_mutex_lock(&record.mutex);
    record.outputBuffer = fakeAac().gathers.data();
    record.outputUsed = static_cast<int>(fakeAac().gathers.size());
    pthread_mutex_unlock(&record.mutex);
    return result;
}

}  // namespace

FakeEncoder& fakeEncoder() {
    return *gEncoder;
}
FakeDecoder& fakeDecoder() {
    return *gDecoder;
}
FakeAac& fakeAac() {
    return *gAac;
}

void resetFakeCodecs() {
    gAac = std::make_unique<FakeAac>();
    gEncoder = std::make_unique<FakeEncoder>();
    gDecoder = std::make_unique<FakeDecoder>();
}

}  // namespace zem::test

using zem::test::fakeDecoder;
using zem::test::fakeEncoder;
using zem::test::Life;
using zem::test::lifeOf;

omxCodecCommon::omxCodecCommon(const char*) : mUserData(new codecUserData) {}
omxCodecCommon::~omxCodecCommon() {
    delete mUserData;
}
unsigned char* omxCodecCommon::GetBuffer() const {
    return mUserData->outputBuffer;
}
int omxCodecCommon::GetUsedSize() {
    return mUserData->outputUsed;
}
void omxCodecCommon::SetUsedSize(int size) {
    mUserData->outputUsed = size;
}
int omxCodecCommon::IsOpen() const {
    return lifeOf(mHandle).isOpen();
}
void omxCodecCommon::requestClose() {
    mUserData->closeRequested = true;
}
GatheredOutput omxCodecCommon::takeGathered() {
    GatheredOutput output;
    pthread_mutex_lock(&mUserData->mutex);
    output.size = mUserData->outputUsed.exchange(0);
    output.bytes.reset(new unsigned char[static_cast<size_t>(output.size)]);
    std::copy_n(mUserData->outputBuffer, output.size, output.bytes.get());
    pthread_mutex_unlock(&mUserData->mutex);
    return output;
}

omxMpegVideoEncoder::omxMpegVideoEncoder(const char* name) : omxCodecCommon(name) {
    mHandle = new Life(fakeEncoder(), copyBufferForEncoder);
}
omxMpegVideoEncoder::~omxMpegVideoEncoder() {
    delete &lifeOf(mHandle);
}
int omxMpegVideoEncoder::open(int format, int width, int height, int bitrate, int frameRate,
                              int gopAndRateControl, bool headerOnly) {
    mWidth = width;
    mHeight = height;
    char text[128];
    snprintf(text, sizeof text, "%d %dx%d %d %d %x %d", format, width, height, bitrate, frameRate,
             static_cast<unsigned>(gopAndRateControl), headerOnly ? 1 : 0);
    return lifeOf(mHandle).open(text);
}
int omxMpegVideoEncoder::encode(uint8_t* out, int outSize, const uint8_t* in, int inStride) {
    const int size = mSkipConversion ? mWidth * mHeight * 3 / 2 : 4 * inStride * mHeight;
    static_cast<void>(std::vector<uint8_t>(in, in + size));  // reads what the real one reads
    return lifeOf(mHandle).call(mUserData->closeRequested, [&] {
        const bool nothing = out == nullptr;
        fakeEncoder().calls.push_back({in, nothing ? -1 : outSize, inStride, mSkipConversion, in[0]});
    });
}
void omxMpegVideoEncoder::setCloseType(bool force) {
    std::lock_guard<std::mutex> lock(fakeEncoder().mutex);
    fakeEncoder().closes.push_back(force);
}
int omxMpegVideoEncoder::getWidth() {
    return mWidth;
}
int omxMpegVideoEncoder::getHeight() {
    return mHeight;
}
void omxMpegVideoEncoder::setSkipConversion(bool skip) {
    mSkipConversion = skip;
}
int omxMpegVideoEncoder::getHardwareBase() const {
    return fakeEncoder().hardwareBase;
}

omxMpegVideoDecoder::omxMpegVideoDecoder(const char* name) : omxCodecCommon(name) {
    mHandle = new Life(fakeDecoder(), copyBufferForDecoder);
}
omxMpegVideoDecoder::~omxMpegVideoDecoder() {
    delete &lifeOf(mHandle);
}
int omxMpegVideoDecoder::open(int width, int height) {
    return lifeOf(mHandle).open(std::to_string(width) + "x" + std::to_string(height));
}
int omxMpegVideoDecoder::decode(uint8_t* data, int size) {
    return lifeOf(mHandle).call(mUserData->closeRequested,
                                [=] { fakeDecoder().units.emplace_back(data, data + size); });
}
int omxMpegVideoDecoder::getBitmap(AndroidBitmapInfo* info, uint8_t* pixels) {
    pixels[info->stride * info->height - 1] = 77;  // the last byte that `info` promises
    return fakeDecoder().result;
}
int omxMpegVideoDecoder::getWidth() {
    return fakeDecoder().width;
}
int omxMpegVideoDecoder::getHeight() {
    return fakeDecoder().height;
}
void omxMpegVideoDecoder::close(bool skipFinal) {
    fakeDecoder().endedInCall += fakeDecoder().inCall;
    std::lock_guard<std::mutex> lock(fakeDecoder().mutex);
    fakeDecoder().closes.push_back(skipFinal);
}

zem::AacCodec::AacCodec(const char* name, const char* /*usualName*/) : omxCodecCommon(name) {
    mHandle = new Life(test::fakeAac(), copyBufferForAudioEncoder);
}
omxAacEncoder::omxAacEncoder(const char* name) : AacCodec(name, nullptr) {}
omxAacEncoder::~omxAacEncoder() {
    delete &lifeOf(mHandle);
}
int omxAacEncoder::init(int /*channels*/, int /*samplingRate*/, int bitrateIndex) {
    return lifeOf(mHandle).open(std::to_string(bitrateIndex));
}
int omxAacEncoder::encode(uint8_t* pcm, int size) {
    return zem::test::feedAac(mHandle, *mUserData, pcm, size);
}
int omxAacEncoder::getData(uint8_t* /*out*/, int /*max*/) {
    return 0;
}
void omxAacEncoder::omx_send_final_data() {}

omxAacDecoder::omxAacDecoder(const char* name) : AacCodec(name, nullptr) {}
omxAacDecoder::~omxAacDecoder() {
    delete &lifeOf(mHandle);
}
int omxAacDecoder::init(int channels, int samplingRate, int /*bitrate*/) {
    mChannels = channels;
    mSamplingRate = samplingRate;
    return lifeOf(mHandle).open("");
}
int omxAacDecoder::decode(uint8_t* aac, int size) {
    return zem::test::feedAac(mHandle, *mUserData, aac, size);
}
int omxAacDecoder::getData(uint8_t* /*out*/, int /*max*/) {
    return 0;
}
int omxAacDecoder::getSamplingRate() {
    return mSamplingRate;
}
int omxAacDecoder::getChannelCount() {
    return mChannels;
}
void omxAacDecoder::omx_send_final_data() {}
