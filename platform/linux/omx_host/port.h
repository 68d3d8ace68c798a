// One port of a node: its definition, its buffers and who has them.
#pragma once

#include <binder/IMemory.h>
#include <media/IOMX.h>

#include <deque>
#include <memory>
#include <vector>

#include "platform/linux/omx_host/component.h"

namespace zem {

/// One buffer. Shared between the port and, while it is lent, the list of lent ones: freeing it
/// while the component works in it leaves the memory alive until the component is done.
struct NodeBuffer {
    enum class Owner { Client, Queued, Component };

    android::IOMX::buffer_id id = 0;
    android::sp<android::IMemory> memory;  // null when the host allocated the memory itself
    std::unique_ptr<uint8_t[]> own;
    uint8_t* data = nullptr;
    size_t capacity = 0;
    Owner owner = Owner::Client;
    bool freed = false;  // by the client, while the component had it: no message for it any more
    LentBuffer lent;     // what the component sees of it
};

using BufferRef = std::shared_ptr<NodeBuffer>;

/// All members are guarded by the node's mutex.
class Port {
  public:
    explicit Port(OMX_U32 index) : mIndex(index) {}

    const OMX_PARAM_PORTDEFINITIONTYPE& definition() const { return mDefinition; }
    /// Takes the component's description at creation, its default count included.
    void describe(const OMX_PARAM_PORTDEFINITIONTYPE& described);
    /// Takes it after a change: a larger size or count that the client asked for stays.
    void redescribe(const OMX_PARAM_PORTDEFINITIONTYPE& described);
    /// The client's wish for size and count, taken over with the next redescribe().
    void request(OMX_U32 bufferSize, OMX_U32 bufferCount);
    OMX_U32 requestedSize() const { return mRequestedSize; }
    /// The definition as clients see it now.
    void fill(OMX_PARAM_PORTDEFINITIONTYPE* out) const;

    bool populated() const { return mBuffers.size() >= mDefinition.nBufferCountActual; }
    bool hasBuffers() const { return !mBuffers.empty(); }

    void add(const BufferRef& buffer) { mBuffers.push_back(buffer); }
    NodeBuffer* find(android::IOMX::buffer_id id) const;
    /// Takes the buffer out of the port; false when there is none of this id.
    bool remove(android::IOMX::buffer_id id);
    void removeAll();

    /// Queues a buffer of this port that the client has.
    void submit(NodeBuffer* buffer, size_t offset, size_t length, OMX_U32 flags, OMX_TICKS timestamp);
    /// Lends the first queued buffer, null when there is none.
    const LentBuffer* lend();
    /// Ends the loan. Null when this is no buffer on loan.
    BufferRef takeBack(const LentBuffer* lent);
    /// Ends all loans and empties the queue: what the client is to get back, oldest first.
    std::vector<BufferRef> takeAllBack();

    bool enabled = true;
    bool enabling = false;         // enable commanded, waits for buffers
    bool disabling = false;        // disable commanded, waits for the client to free the buffers
    bool draining = false;         // the worker has still to return this port's buffers
    bool settingsChanged = false;  // announced; until the port has been enabled again

  private:
    BufferRef refOf(const NodeBuffer* buffer) const;

    const OMX_U32 mIndex;
    OMX_PARAM_PORTDEFINITIONTYPE mDefinition{};
    OMX_U32 mRequestedSize = 0;
    OMX_U32 mRequestedCount = 0;
    std::vector<BufferRef> mBuffers;  // in order of allocation
    std::deque<BufferRef> mQueue;     // submitted; bounded by mBuffers: no buffer is in it twice
    std::vector<BufferRef> mLent;     // the component's, freed ones included
};

}  // namespace zem
