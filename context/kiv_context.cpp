// The session's life, its screen queries, and the codec-buffer accessors.
#include "context/kiv_context.h"

#include "audio/audio_hook_client.h"
#include "base/log.h"
#include "capture/screen_info.h"
#include "context/codec_ids.h"

std::atomic<KivContext*> KivContext::instance{nullptr};

namespace {

template <class Slot>
uint8_t* bufferOf(bool hardware, const Slot& slot) {
    const auto use = slot.get();
    return hardware && use.common != nullptr ? use.common->GetBuffer() : nullptr;
}

template <class Slot>
int usedSizeOf(bool hardware, const Slot& slot) {
    const auto use = slot.get();
    return hardware && use.common != nullptr ? use.common->GetUsedSize() : 0;
}

template <class Slot>
void setUsedSizeOf(bool hardware, const Slot& slot, int size) {
    const auto use = slot.get();
    if (hardware && use.common != nullptr) {
        use.common->SetUsedSize(size);
    }
}

template <class Slot>
bool isOpen(bool hardware, const Slot& slot) {
    const auto use = slot.get();
    return hardware && use.common != nullptr && use.common->IsOpen() != 0;
}

}  // namespace

KivContext* KivContext::getInstance() {
    KivContext* existing = instance.load();
    if (existing != nullptr) {
        return existing;
    }
    // Two threads may get here: the second one's object goes again, it has not been used.
    auto created = std::make_unique<KivContext>();
    if (instance.compare_exchange_strong(existing, created.get())) {
        return created.release();
    }
    return existing;
}

KivContext* KivContext::existingInstance() {
    return instance.load();
}

void KivContext::deleteInstance() {
    delete instance.load();  // the sinks find the VM through the instance until they are gone
    instance = nullptr;
}

// The buffers' contents are not set: each use writes before it reads.
KivContext::KivContext()
    : mVideoEncodeBuffer(new uint8_t[zem::kVideoEncodeBufferSize]),
      mAudioEncodeBuffer(new uint8_t[zem::kAudioBufferSize]),
      mAudioDecodeBuffer(new uint8_t[zem::kAudioBufferSize]) {}

KivContext::~KivContext() {
    closeVideoInput();
    closeVideoEncoder();
    closeVideoDecoder();
    closeAudioEncoder();
    closeAudioDecoder();
}

int KivContext::getScreenWidth() {
    return ScreenInfo::getWidth();
}

int KivContext::getScreenHeight() {
    return ScreenInfo::getHeight();
}

int KivContext::getScreenFormat() {
    return ScreenInfo::getFormat();
}

bool KivContext::ReadyEncoderHeader() const {
    return mEncoderHeader.get() != nullptr;
}

const uint8_t* KivContext::keepEncoderHeader(const uint8_t* data, int size) {
    const auto header = zem::ByteBlock::copyOf(data, size);
    if (header == nullptr || !mEncoderHeader.putIfEmpty(header)) {
        return nullptr;
    }
    mEncoderHeaderSize = size;
    return header->data.get();
}

bool KivContext::takeEncoderHeader(const std::shared_ptr<const zem::ByteBlock>& header) {
    return mEncoderHeader.takeIf(header);
}

bool KivContext::IsEncoderOpen() {
    return isOpen(mVideoCodecId == zem::kCodecH264, mVideoEncoder);
}

bool KivContext::IsDecoderOpen() {
    return isOpen(mVideoCodecId == zem::kCodecH264, mVideoDecoder);
}

uint8_t* KivContext::GetEncoderBuffer() {
    return bufferOf(mVideoCodecId == zem::kCodecH264, mVideoEncoder);
}

int KivContext::GetEncodedSize() {
    return usedSizeOf(mVideoCodecId == zem::kCodecH264, mVideoEncoder);
}

void KivContext::SetEncodedSize(int size) {
    setUsedSizeOf(mVideoCodecId == zem::kCodecH264, mVideoEncoder, size);
}

uint8_t* KivContext::GetDecoderBuffer() {
    return bufferOf(mVideoCodecId == zem::kCodecH264, mVideoDecoder);
}

int KivContext::GetDecodedSize() {
    return usedSizeOf(mVideoCodecId == zem::kCodecH264, mVideoDecoder);
}

void KivContext::SetDecodedSize(int size) {
    setUsedSizeOf(mVideoCodecId == zem::kCodecH264, mVideoDecoder, size);
}

uint8_t* KivContext::GetAudEncoderBuffer() {
    return bufferOf(mAudioCodecId == zem::kCodecAac, mAudioEncoder);
}

int KivContext::GetAudEncodedSize() {
    return usedSizeOf(mAudioCodecId == zem::kCodecAac, mAudioEncoder);
}

void KivContext::SetAudEncodedSize(int size) {
    setUsedSizeOf(mAudioCodecId == zem::kCodecAac, mAudioEncoder, size);
}

uint8_t* KivContext::GetAudDecoderBuffer() {
    return bufferOf(mAudioCodecId == zem::kCodecAac, mAudioDecoder);
}

int KivContext::GetAudDecodedSize() {
    return usedSizeOf(mAudioCodecId == zem::kCodecAac, mAudioDecoder);
}

void KivContext::SetAudDecodedSize(int size) {
    setUsedSizeOf(mAudioCodecId == zem::kCodecAac, mAudioDecoder, size);
}
