// Engine output on its way to Java: the hand-off functions, and the sinks behind them.
#include "context/hand_off.h"

#include "base/log.h"
#include "context/kiv_context.h"

namespace {

int handOff(KivContext::Sink sink, uint8_t* data, int size) {
    KivContext* const context = KivContext::existingInstance();
    if (context != nullptr) {
        context->deliver(sink, data, size);
    }
    return 0;
}

}  // namespace

zem::SharedSlot<KivContext::DataCallback>& KivContext::slotOf(Sink sink) {
    switch (sink) {
        case Sink::Encoder:
            return mEncoderCallback;
        case Sink::Decoder:
            return mDecoderCallback;
        case Sink::AudioEncoder:
            return mAudioEncoderCallback;
        case Sink::AudioDecoder:
            break;
    }
    return mAudioDecoderCallback;
}

void KivContext::setSink(Sink sink, std::shared_ptr<DataCallback> callback) {
    slotOf(sink).put(std::move(callback));
}

void KivContext::passOn(Sink sink, const char* whenAbsent, uint8_t* data, int size) {
    const auto callback = slotOf(sink).get();
    if (callback == nullptr) {
        LOGE("%s", whenAbsent);
        return;
    }
    callback->onNewData(data, size);
}

void KivContext::onNewEncoderData(uint8_t* data, int size) {
    passOn(Sink::Encoder, "KivContext::onNewEncoderData, mEncoderCallback == NULL", data, size);
}

void KivContext::onNewDecoderData(uint8_t* data, int size) {
    passOn(Sink::Decoder, "KivContext::onNewDecoderData, mDecoderCallback == NULL", data, size);
}

void KivContext::onNewAudioEncoderData(uint8_t* data, int size) {
    passOn(Sink::AudioEncoder, "KivContext::onNewAudioEncoderData, mAudioEncoderCallback == NULL", data,
           size);
}

void KivContext::onNewAudioDecoderData(uint8_t* data, int size) {
    passOn(Sink::AudioDecoder, "KivContext::onNewAudioDecoderData, mAudioDecoderCallback == NULL", data,
           size);
}

void KivContext::deliver(Sink sink, uint8_t* data, int size) {
    auto callback = slotOf(sink).get();
    if (callback == nullptr) {
        return;
    }
    const Attachment attachment = _attachCurrentThread(callback.get());
    if (attachment == Attachment::Failed) {
        LOGE("KivContext: no Java environment on this thread, %d bytes dropped", size);
        return;
    }
    switch (sink) {
        case Sink::Encoder:
            onNewEncoderData(data, size);
            break;
        case Sink::Decoder:
            onNewDecoderData(data, size);
            break;
        case Sink::AudioEncoder:
            onNewAudioEncoderData(data, size);
            break;
        case Sink::AudioDecoder:
            onNewAudioDecoderData(data, size);
            break;
    }
    callback.reset();  // may be the last reference: its end needs the environment too
    if (attachment == Attachment::Made) {
        _detachCurrentThread(nullptr);
    }
}

KivContext::Attachment KivContext::_attachCurrentThread(DataCallback* callback) {
    JavaVM* const vm = mJavaVM;
    if (vm == nullptr) {
        return Attachment::Failed;
    }
    void* found = nullptr;
    const jint result = vm->GetEnv(&found, JNI_VERSION_1_4);
    if (result == JNI_OK && found != nullptr) {
        callback->mEnv = static_cast<JNIEnv*>(found);
        return Attachment::Existing;
    }
    JNIEnv* env = nullptr;
    if (result != JNI_EDETACHED || vm->AttachCurrentThread(&env, nullptr) != JNI_OK) {
        return Attachment::Failed;
    }
    callback->mEnv = env;
    return Attachment::Made;
}

void KivContext::_detachCurrentThread(DataCallback* /*callback*/) {
    JavaVM* const vm = mJavaVM;
    if (vm != nullptr) {
        vm->DetachCurrentThread();
    }
}

int copyBufferForEncoder(uint8_t* data, int size) {
    return handOff(KivContext::Sink::Encoder, data, size);
}

int copyBufferForDecoder(uint8_t* data, int size) {
    return handOff(KivContext::Sink::Decoder, data, size);
}

int copyBufferForAudioEncoder(uint8_t* data, int size) {
    return handOff(KivContext::Sink::AudioEncoder, data, size);
}

int copyBufferForAudioDecoder(uint8_t* data, int size) {
    return handOff(KivContext::Sink::AudioDecoder, data, size);
}

void copyHeaderForDecoder(uint8_t* data, int size) {
    KivContext* const context = KivContext::existingInstance();
    if (context == nullptr) {
        return;
    }
    if (size < 1) {
        LOGE("copyHeaderForDecoder: %d bytes are no encoder header", size);
        return;
    }
    if (context->ReadyEncoderHeader()) {
        LOGI("copyHeaderForDecoder: encoder header is already existed.");
        return;
    }
    const uint8_t* const kept = context->keepEncoderHeader(data, size);
    LOGI("copyHeaderForDecoder: [encoder header: %p]", static_cast<const void*>(kept));
}
