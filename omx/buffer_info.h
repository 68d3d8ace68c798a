// One buffer of a component's port, as the driver sees it.
#pragma once

#include <binder/IMemory.h>
#include <media/IOMX.h>
#include <utils/RefBase.h>

#include <atomic>

/// Held by reference (sp): the port's list, the filled queue and the output thread each keep the
/// record and its memory alive for as long as they may touch it, so that a port can be freed while a
/// callback still reads. A record therefore never moves: its address is the handle that
/// reserveInputBuffer() gives to the producer.
struct BufferInfo : public android::RefBase {
    BufferInfo() = default;
    ~BufferInfo() override = default;

    /// The component's number for this buffer.
    std::atomic<android::IOMX::buffer_id> id{0};
    /// Set while the buffer is with the component or reserved by the producer.
    std::atomic<bool> ownedByComponent{false};
    /// The shared memory behind the buffer; null when the component allocated it. Constant.
    android::sp<android::IMemory> memory;
    /// Bytes: the port's buffer size after allocation, the payload's once an input buffer was sent.
    std::atomic<unsigned int> length{0};
    /// The buffer in this process. Constant.
    void* data = nullptr;

    // The last fill; guarded by the owning interface's buffer lock.
    unsigned int filledLength = 0;
    void* outputData = nullptr;
    bool endOfStream = false;
    android::sp<android::IMemoryHeap> outputHeap;  // keeps a component's own heap mapped

    /// The port's buffer size in bytes: what `data` has room for. Constant.
    unsigned int capacity = 0;
    /// The component has been told to forget this buffer: it is neither delivered nor resubmitted.
    std::atomic<bool> retired{false};
    /// Waits in a queue (see zem::RecordQueue).
    std::atomic<bool> queued{false};
};

/// What the encode driver submits at the end of a stream: a record of its own whose id is that of
/// the input buffer reserved last, by any interface. Never destroyed.
extern BufferInfo& g_finalEncoderBuffer;
