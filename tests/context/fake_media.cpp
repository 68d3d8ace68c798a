#include "tests/context/fake_media.h"

#include <map>
#include <memory>
#include <thread>

#include "capture/display.h"
#include "capture/screen_info.h"
#include "capture/screenshot.h"
#include "codec/hardware_detection.h"
#include "codec/omx_mpeg_video_encoder.h"
#include "color/color_converter.h"
#include "context/hand_off.h"
#include "context/kiv_context.h"
#include "tests/context/fake_decoder.h"

namespace zem::test {
namespace {

std::unique_ptr<FakeScreen> gScreen = std::make_unique<FakeScreen>();
std::unique_ptr<FakeEncoder> gEncoder = std::make_unique<FakeEncoder>();
FakeDevice gDevice;

struct Pixels {
    std::vector<uint8_t> bytes;
    int stride = 32;
};

std::mutex gMutex;
std::map<const Screenshot*, Pixels> gPixels;                 // guarded by gMutex
std::map<const omxMpegVideoEncoder*, std::thread> gOutputs;  // guarded by gMutex

Pixels& pixelsOf(const Screenshot* screen) {
    std::lock_guard<std::mutex> lock(gMutex);
    return gPixels[screen];
}

void deliverUntilClosed(const std::atomic<bool>& ended, std::vector<uint8_t> unit) {
    while (!ended) {
        copyBufferForEncoder(unit.data(), static_cast<int>(unit.size()));
        if (KivContext* context = KivContext::existingInstance()) {
            context->SetEncodedSize(context->GetEncodedSize());
        }
    }
}

}  // namespace

FakeScreen& fakeScreen() {
    return *gScreen;
}
FakeEncoder& fakeEncoder() {
    return *gEncoder;
}
FakeDevice& fakeDevice() {
    return gDevice;
}

void resetFakeMedia() {
    KivContext::deleteInstance();
    gScreen = std::make_unique<FakeScreen>();
    gEncoder = std::make_unique<FakeEncoder>();
    gDevice = {};
    resetFakeDecoder();
}

}  // namespace zem::test

using zem::test::fakeDevice;
using zem::test::fakeEncoder;
using zem::test::fakeScreen;

Screenshot::Screenshot(int wantedWidth, int wantedHeight)
    : width(wantedWidth), height(wantedHeight), client(nullptr), maxLayer(0), format(fakeScreen().format) {
    ++fakeScreen().living;
    fakeScreen().sizes.push_back({wantedWidth, wantedHeight});
    zem::test::pixelsOf(this).bytes.resize(fakeScreen().withoutProbe ? 0 : 32 * 32 * 4);
}

Screenshot::~Screenshot() {
    --fakeScreen().living;
    std::lock_guard<std::mutex> lock(zem::test::gMutex);
    zem::test::gPixels.erase(this);
}

void* Screenshot::capture() {
    if (fakeScreen().failing) {
        return nullptr;
    }
    zem::test::Pixels& pixels = zem::test::pixelsOf(this);
    pixels.stride = fakeScreen().stride != 0 ? fakeScreen().stride : width;
    const int size = pixels.stride * height * (format == 4 ? 2 : 4) - fakeScreen().missingBytes;
    // Freed and made anew, as a client does whose picture changes.
    pixels.bytes = std::vector<uint8_t>(static_cast<size_t>(size));
    for (size_t i = 0; i < pixels.bytes.size(); ++i) {
        pixels.bytes[i] = static_cast<uint8_t>(i % 251);
    }
    ++fakeScreen().captures;
    return pixels.bytes.data();
}

void* Screenshot::getcaptured() {
    zem::test::Pixels& pixels = zem::test::pixelsOf(this);
    return pixels.bytes.empty() ? nullptr : pixels.bytes.data();
}
int Screenshot::getFormat() {
    return format;
}
int Screenshot::getSize() {
    return static_cast<int>(zem::test::pixelsOf(this).bytes.size());
}
int Screenshot::getStride() {
    return zem::test::pixelsOf(this).stride;
}
void Screenshot::setMaxCaptureLayer(unsigned int layer) {
    fakeScreen().maxLayer = layer;
}

int ScreenInfo::getWidth() {
    return 1111;
}
int ScreenInfo::getHeight() {
    return 2222;
}
int ScreenInfo::getFormat() {
    return 5;
}

void zem::releaseDisplay() {
    ++fakeDevice().displayReleases;
}

int GetHardwareBase() {
    return fakeDevice().hardwareBase;
}

omxCodecCommon::omxCodecCommon(const char*) : mUserData(new codecUserData) {}
omxCodecCommon::~omxCodecCommon() {
    delete mUserData;
}
unsigned char* omxCodecCommon::GetBuffer() const {
    return reinterpret_cast<unsigned char*>(mUserData);
}
int omxCodecCommon::GetUsedSize() {
    return mUserData->outputUsed;
}
void omxCodecCommon::SetUsedSize(int size) {
    mUserData->outputUsed = size;
}
int omxCodecCommon::IsOpen() const {
    zem::test::FakeOpenState* const decoder = zem::test::openStateOfDecoder(this);
    return decoder != nullptr ? decoder->answer() : fakeEncoder().answer();
}
void omxCodecCommon::requestClose() {
    mUserData->closeRequested = true;
}

omxMpegVideoEncoder::omxMpegVideoEncoder(const char* name) : omxCodecCommon(name) {
    ++fakeEncoder().living;
}

omxMpegVideoEncoder::~omxMpegVideoEncoder() {
    fakeEncoder().endedWhileEncoding += fakeEncoder().inEncode;
    mDeinitFlag = true;
    std::thread output;
    {
        std::lock_guard<std::mutex> lock(zem::test::gMutex);
        output.swap(zem::test::gOutputs[this]);
    }
    if (output.get_id() == std::this_thread::get_id()) {
        ++fakeEncoder().endedByOutputThread;
        output.detach();
    } else if (output.joinable()) {
        output.join();
    }
    --fakeEncoder().living;
}

int omxMpegVideoEncoder::open(int format, int width, int height, int bitrate, int frameRate,
                              int gopAndRateControl, bool headerOnly) {
    char text[128];
    snprintf(text, sizeof text, "%d %dx%d %d %d %x %d", format, width, height, bitrate, frameRate,
             static_cast<unsigned>(gopAndRateControl), headerOnly ? 1 : 0);
    std::lock_guard<std::mutex> lock(fakeEncoder().mutex);
    fakeEncoder().opens.push_back(text);
    mWidth = width;
    mHeight = height;
    if (!fakeEncoder().output.empty() && headerOnly) {
        copyHeaderForDecoder(fakeEncoder().output.data(), static_cast<int>(fakeEncoder().output.size()));
        copyHeaderForDecoder(fakeEncoder().output.data(), 1);
    } else if (!fakeEncoder().output.empty()) {
        std::lock_guard<std::mutex> outputs(zem::test::gMutex);
        zem::test::gOutputs[this] = std::thread(
            [this, unit = fakeEncoder().output] { zem::test::deliverUntilClosed(mDeinitFlag, unit); });
    }
    return fakeEncoder().openResult;
}

int omxMpegVideoEncoder::encode(uint8_t* out, int outSize, const uint8_t* in, int inStride) {
    fakeEncoder().overlappingCalls += fakeEncoder().inEncode++ != 0 ? 1 : 0;
    const int size = mSkipConversion ? mWidth * mHeight * 3 / 2 : 4 * inStride * mHeight;
    static_cast<void>(std::vector<uint8_t>(in, in + size));  // reads what the real one reads
    {
        std::lock_guard<std::mutex> lock(fakeEncoder().mutex);
        const bool nothing = out == nullptr;
        fakeEncoder().calls.push_back({in, nothing ? -1 : outSize, inStride, mSkipConversion, in[0]});
    }
    while (fakeEncoder().waitsForClose && !mUserData->closeRequested) {
        std::this_thread::yield();
    }
    --fakeEncoder().inEncode;
    return fakeEncoder().encodeResult;
}

void omxMpegVideoEncoder::setCloseType(bool force) {
    std::lock_guard<std::mutex> lock(fakeEncoder().mutex);
    fakeEncoder().closeTypes.push_back(force);
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
