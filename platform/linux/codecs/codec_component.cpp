#include "platform/linux/codecs/codec_component.h"

#include <cstring>

#include "base/log.h"

namespace zem {

android::status_t CodecComponent::start() {
    mOpen = open();
    return mOpen ? android::OK : android::NO_INIT;
}

void CodecComponent::stop() {
    close();
    mOpen = false;
    mOutput = nullptr;
    mBegun.reset();
    mConfigured = false;
    mEnd.reset();
    mAwaitsBuffers = false;
}

// A block that waits outlives the output buffers.
void CodecComponent::flush(OMX_U32 port) {
    if (port == kOutputPort) {
        mOutput = nullptr;
    } else if (mOpen) {
        mEnd.reset();
        forget();
    }
}

void CodecComponent::process(BufferIo& io) {
    bool more = mOpen;
    while (more) {
        if (mAwaitsBuffers && !haveOutput(io)) {
            return;
        }
        mAwaitsBuffers = false;
        if (mBegun.has_value() && !mConfigured) {
            more = putOutConfiguration(io);
        } else if (const std::optional<Block> block = next(io)) {
            more = putOut(io, *block);
        } else {
            more = mEnd.has_value() ? putOutEnd(io) : takeInput(io);
        }
    }
}

bool CodecComponent::takeInput(BufferIo& io) {
    const LentBuffer* input = io.takeInput();
    if (input == nullptr) {
        return false;
    }
    if (!mBegun.has_value()) {
        mBegun = input->timestamp;
    }
    const bool ends = (input->flags & OMX_BUFFERFLAG_EOS) != 0;
    if (ends) {
        mEnd = input->timestamp;
    }
    if (input->size > 0 || !ends) {
        take(io, *input);
    }
    io.returnInput(input);
    return true;
}

bool CodecComponent::putOutConfiguration(BufferIo& io) {
    const Bytes bytes = configuration();
    if (bytes.size > 0 && !haveOutput(io)) {
        return false;
    }
    mConfigured = true;
    if (bytes.size > 0 && fits(bytes.size)) {
        memcpy(mOutput->data, bytes.data, bytes.size);
        returnOutput(io, bytes.size, OMX_BUFFERFLAG_CODECCONFIG, *mBegun);
    }
    return true;
}

bool CodecComponent::fits(size_t size) const {
    if (size <= mOutput->size) {
        return true;
    }
    LOGE("codec component: a block of %zu bytes is dropped, the output buffer holds %zu", size,
         mOutput->size);
    return false;
}

bool CodecComponent::putOut(BufferIo& io, const Block& block) {
    if (!haveOutput(io)) {
        return false;
    }
    const bool kept = fits(block.size);
    if (kept) {
        write(mOutput->data);
        returnOutput(io, block.size, block.flags, block.timestamp);
    }
    drop(!kept);
    return true;
}

bool CodecComponent::putOutEnd(BufferIo& io) {
    drain();
    if (next(io).has_value()) {
        return true;
    }
    if (!haveOutput(io)) {
        return false;
    }
    returnOutput(io, 0, OMX_BUFFERFLAG_EOS, *mEnd);
    mEnd.reset();
    return true;
}

bool CodecComponent::haveOutput(BufferIo& io) {
    if (mOutput == nullptr) {
        mOutput = io.takeOutput();
    }
    return mOutput != nullptr;
}

void CodecComponent::returnOutput(BufferIo& io, size_t length, OMX_U32 flags, OMX_TICKS timestamp) {
    io.returnOutput(mOutput, length, flags, timestamp);
    mOutput = nullptr;
}

void CodecComponent::announceChange(BufferIo& io) {
    if (mOutput != nullptr) {
        returnOutput(io, 0, 0, 0);
    }
    mAwaitsBuffers = true;
    io.portSettingsChanged();
}

}  // namespace zem
