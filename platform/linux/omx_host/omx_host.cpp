#include "platform/linux/omx_host/omx_host.h"

#include <unistd.h>

#include <map>
#include <mutex>

#include "platform/linux/omx_host/ids.h"
#include "platform/linux/omx_host/node.h"
#include "platform/linux/omx_host/plain_buffer_omx.h"

namespace zem {

using android::BAD_VALUE;
using android::NAME_NOT_FOUND;
using android::NO_MEMORY;
using android::OK;
using android::sp;
using android::status_t;

namespace {

/// Finds the node and calls it, with no lock of the host held: a node that is freed meanwhile lives
/// until the call is over, and refuses it.
class OmxHost final : public PlainBufferOmx {
  public:
    explicit OmxHost(ComponentRegistry registry) : mRegistry(std::move(registry)) {}

    bool livesLocally(node_id node, pid_t pid) override { return find(node) != nullptr && pid == getpid(); }

    status_t listNodes(android::List<ComponentInfo>* list) override {
        if (list == nullptr) {
            return BAD_VALUE;
        }
        list->clear();
        for (const ComponentFactory& factory : mRegistry.all()) {
            ComponentInfo info;
            info.mName = android::String8(factory.name.c_str());
            for (const std::string& role : factory.roles) {
                info.mRoles.push_back(android::String8(role.c_str()));
            }
            list->push_back(info);
        }
        return OK;
    }

    status_t allocateNode(const char* name, const sp<android::IOMXObserver>& observer,
                          node_id* node) override {
        if (name == nullptr || observer == nullptr || node == nullptr) {
            return BAD_VALUE;
        }
        *node = 0;
        const ComponentFactory* factory = mRegistry.find(name);
        if (factory == nullptr) {
            return NAME_NOT_FOUND;
        }
        const node_id id = nextNodeId();
        const std::shared_ptr<Node> made = id != 0 ? Node::create(id, *factory, observer) : nullptr;
        if (made == nullptr) {
            return NO_MEMORY;
        }
        std::lock_guard<std::mutex> lock(mMutex);
        mNodes[id] = made;
        *node = id;
        return OK;
    }

    status_t freeNode(node_id node) override {
        std::shared_ptr<Node> last;
        {
            std::lock_guard<std::mutex> lock(mMutex);
            const auto found = mNodes.find(node);
            if (found == mNodes.end()) {
                return BAD_VALUE;
            }
            last = found->second;
            mNodes.erase(found);
        }
        last->shutDown();
        return OK;
    }

    status_t sendCommand(node_id node, OMX_COMMANDTYPE cmd, OMX_S32 param) override {
        const std::shared_ptr<Node> found = find(node);
        return found != nullptr ? found->sendCommand(cmd, param) : BAD_VALUE;
    }
    status_t getParameter(node_id node, OMX_INDEXTYPE index, void* params, size_t size) override {
        const std::shared_ptr<Node> found = find(node);
        return found != nullptr ? found->getParameter(index, params, size) : BAD_VALUE;
    }
    status_t setParameter(node_id node, OMX_INDEXTYPE index, const void* params, size_t size) override {
        const std::shared_ptr<Node> found = find(node);
        return found != nullptr ? found->setParameter(index, params, size) : BAD_VALUE;
    }
    status_t getConfig(node_id node, OMX_INDEXTYPE index, void* params, size_t size) override {
        const std::shared_ptr<Node> found = find(node);
        return found != nullptr ? found->getConfig(index, params, size) : BAD_VALUE;
    }
    status_t setConfig(node_id node, OMX_INDEXTYPE index, const void* params, size_t size) override {
        const std::shared_ptr<Node> found = find(node);
        return found != nullptr ? found->setConfig(index, params, size) : BAD_VALUE;
    }
    status_t getState(node_id node, OMX_STATETYPE* state) override {
        const std::shared_ptr<Node> found = find(node);
        if (found == nullptr || state == nullptr) {
            return BAD_VALUE;
        }
        *state = found->state();
        return OK;
    }

    status_t useBuffer(node_id node, OMX_U32 port, const sp<android::IMemory>& params,
                       buffer_id* buffer) override {
        const std::shared_ptr<Node> found = find(node);
        return found != nullptr ? found->useBuffer(port, params, buffer) : BAD_VALUE;
    }
    status_t allocateBuffer(node_id node, OMX_U32 port, size_t size, buffer_id* buffer,
                            void** buffer_data) override {
        const std::shared_ptr<Node> found = find(node);
        return found != nullptr ? found->allocateBuffer(port, size, buffer, buffer_data) : BAD_VALUE;
    }
    status_t allocateBufferWithBackup(node_id node, OMX_U32 port, const sp<android::IMemory>& params,
                                      buffer_id* buffer) override {
        return useBuffer(node, port, params, buffer);
    }
    status_t freeBuffer(node_id node, OMX_U32 port, buffer_id buffer) override {
        const std::shared_ptr<Node> found = find(node);
        return found != nullptr ? found->freeBuffer(port, buffer) : BAD_VALUE;
    }
    status_t fillBuffer(node_id node, buffer_id buffer) override {
        const std::shared_ptr<Node> found = find(node);
        return found != nullptr ? found->fillBuffer(buffer) : BAD_VALUE;
    }
    status_t emptyBuffer(node_id node, buffer_id buffer, OMX_U32 offset, OMX_U32 length, OMX_U32 flags,
                         OMX_TICKS timestamp) override {
        const std::shared_ptr<Node> found = find(node);
        return found != nullptr ? found->emptyBuffer(buffer, offset, length, flags, timestamp) : BAD_VALUE;
    }
    status_t getExtensionIndex(node_id node, const char* name, OMX_INDEXTYPE* index) override {
        const std::shared_ptr<Node> found = find(node);
        return found != nullptr ? found->getExtensionIndex(name, index) : BAD_VALUE;
    }

  private:
    ~OmxHost() override {
        for (const auto& [id, node] : mNodes) {
            node->shutDown();
        }
    }

    std::shared_ptr<Node> find(node_id id) {
        std::lock_guard<std::mutex> lock(mMutex);
        const auto found = mNodes.find(id);
        return found != mNodes.end() ? found->second : nullptr;
    }

    const ComponentRegistry mRegistry;
    std::mutex mMutex;
    std::map<node_id, std::shared_ptr<Node>> mNodes;  // guarded by mMutex
};

}  // namespace

sp<android::IOMX> makeOmxHost(ComponentRegistry registry) {
    return new OmxHost(std::move(registry));
}

}  // namespace zem
