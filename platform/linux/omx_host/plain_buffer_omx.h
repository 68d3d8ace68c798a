// The part of IOMX that no host on this platform has: graphic buffers, surfaces and tunnels.
#pragma once

#include <media/IOMX.h>

namespace zem {

/// Refuses every call that needs a graphic buffer.
class PlainBufferOmx : public android::BnOMX {
  public:
    using status_t = android::status_t;
    template <typename T>
    using sp = android::sp<T>;

    status_t storeMetaDataInBuffers(node_id, OMX_U32, OMX_BOOL) final { return kNone; }
    status_t prepareForAdaptivePlayback(node_id, OMX_U32, OMX_BOOL, OMX_U32, OMX_U32) final { return kNone; }
    status_t configureVideoTunnelMode(node_id, OMX_U32, OMX_BOOL, OMX_U32, void**) final { return kNone; }
    status_t enableGraphicBuffers(node_id, OMX_U32, OMX_BOOL) final { return kNone; }
    status_t getGraphicBufferUsage(node_id, OMX_U32, OMX_U32*) final { return kNone; }
    status_t useGraphicBuffer(node_id, OMX_U32, const sp<android::GraphicBuffer>&, buffer_id*) final {
        return kNone;
    }
    status_t updateGraphicBufferInMeta(node_id, OMX_U32, const sp<android::GraphicBuffer>&, buffer_id) final {
        return kNone;
    }
    status_t createInputSurface(node_id, OMX_U32, sp<android::IGraphicBufferProducer>*) final {
        return kNone;
    }
    status_t signalEndOfInputStream(node_id) final { return kNone; }
    status_t setInternalOption(node_id, OMX_U32, OMX_U32, const void*, size_t) final { return kNone; }

  private:
    static constexpr status_t kNone = android::INVALID_OPERATION;
};

}  // namespace zem
