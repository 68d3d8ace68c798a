// IOMX: OpenMAX IL components by node, and the messages that they send.
#pragma once

#include <OMX_Component.h>
#include <OMX_Core.h>
#include <binder/IInterface.h>
#include <utils/List.h>
#include <utils/String8.h>

namespace android {

class GraphicBuffer;
class IGraphicBufferProducer;
class IMemory;
class IOMXObserver;

/// All calls return at once (freeNode alone waits for the message being delivered) and may come from
/// any thread. A wrong node, port, buffer, state or byte count gives an error status.
class IOMX : public IInterface {
  public:
    DECLARE_META_INTERFACE(OMX)

    typedef uint32_t node_id;
    typedef uint32_t buffer_id;

    struct ComponentInfo {
        String8 mName;
        List<String8> mRoles;
    };

    virtual bool livesLocally(node_id node, pid_t pid) = 0;
    virtual status_t listNodes(List<ComponentInfo>* list) = 0;
    virtual status_t allocateNode(const char* name, const sp<IOMXObserver>& observer, node_id* node) = 0;
    /// Legal in any state; no message of the node is delivered after it returns.
    virtual status_t freeNode(node_id node) = 0;
    virtual status_t sendCommand(node_id node, OMX_COMMANDTYPE cmd, OMX_S32 param) = 0;
    virtual status_t getParameter(node_id node, OMX_INDEXTYPE index, void* params, size_t size) = 0;
    virtual status_t setParameter(node_id node, OMX_INDEXTYPE index, const void* params, size_t size) = 0;
    virtual status_t getConfig(node_id node, OMX_INDEXTYPE index, void* params, size_t size) = 0;
    virtual status_t setConfig(node_id node, OMX_INDEXTYPE index, const void* params, size_t size) = 0;
    virtual status_t getState(node_id node, OMX_STATETYPE* state) = 0;

    virtual status_t storeMetaDataInBuffers(node_id node, OMX_U32 port_index, OMX_BOOL enable) = 0;
    virtual status_t prepareForAdaptivePlayback(node_id node, OMX_U32 port_index, OMX_BOOL enable,
                                                OMX_U32 max_width, OMX_U32 max_height) = 0;
    virtual status_t configureVideoTunnelMode(node_id node, OMX_U32 port_index, OMX_BOOL tunneled,
                                              OMX_U32 audio_hw_sync, void** sideband_handle) = 0;
    virtual status_t enableGraphicBuffers(node_id node, OMX_U32 port_index, OMX_BOOL enable) = 0;
    virtual status_t getGraphicBufferUsage(node_id node, OMX_U32 port_index, OMX_U32* usage) = 0;

    virtual status_t useBuffer(node_id node, OMX_U32 port_index, const sp<IMemory>& params,
                               buffer_id* buffer) = 0;
    virtual status_t useGraphicBuffer(node_id node, OMX_U32 port_index,
                                      const sp<GraphicBuffer>& graphic_buffer, buffer_id* buffer) = 0;
    virtual status_t updateGraphicBufferInMeta(node_id node, OMX_U32 port_index,
                                               const sp<GraphicBuffer>& graphic_buffer, buffer_id buffer) = 0;
    virtual status_t createInputSurface(node_id node, OMX_U32 port_index,
                                        sp<IGraphicBufferProducer>* buffer_producer) = 0;
    virtual status_t signalEndOfInputStream(node_id node) = 0;

    /// `buffer_data` is an address of the component's process: on the device that is not the caller's.
    virtual status_t allocateBuffer(node_id node, OMX_U32 port_index, size_t size, buffer_id* buffer,
                                    void** buffer_data) = 0;
    virtual status_t allocateBufferWithBackup(node_id node, OMX_U32 port_index, const sp<IMemory>& params,
                                              buffer_id* buffer) = 0;
    /// Legal in any state, also while the component has the buffer.
    virtual status_t freeBuffer(node_id node, OMX_U32 port_index, buffer_id buffer) = 0;
    virtual status_t fillBuffer(node_id node, buffer_id buffer) = 0;
    virtual status_t emptyBuffer(node_id node, buffer_id buffer, OMX_U32 range_offset, OMX_U32 range_length,
                                 OMX_U32 flags, OMX_TICKS timestamp) = 0;

    virtual status_t getExtensionIndex(node_id node, const char* parameter_name, OMX_INDEXTYPE* index) = 0;
    virtual status_t setInternalOption(node_id node, OMX_U32 port_index, OMX_U32 option, const void* data,
                                       size_t size) = 0;
};

class BnOMX : public BnInterface<IOMX> {
  public:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0) override;
};

/// What a component tells its observer.
struct omx_message {
    enum {
        EVENT,
        EMPTY_BUFFER_DONE,
        FILL_BUFFER_DONE,
    } type;

    IOMX::node_id node;

    union {
        // EVENT
        struct {
            OMX_EVENTTYPE event;
            OMX_U32 data1;
            OMX_U32 data2;
        } event_data;

        // EMPTY_BUFFER_DONE
        struct {
            IOMX::buffer_id buffer;
        } buffer_data;

        // FILL_BUFFER_DONE
        struct {
            IOMX::buffer_id buffer;
            OMX_U32 range_offset;
            OMX_U32 range_length;
            OMX_U32 flags;
            OMX_TICKS timestamp;
        } extended_buffer_data;
    } u;
};

class IOMXObserver : public IInterface {
  public:
    DECLARE_META_INTERFACE(OMXObserver)

    /// On the node's own delivery thread, one message at a time, in order, with no lock held: every
    /// call of IOMX is allowed in it.
    virtual void onMessage(const omx_message& msg) = 0;
};

class BnOMXObserver : public BnInterface<IOMXObserver> {
  public:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0) override;
};

}  // namespace android
