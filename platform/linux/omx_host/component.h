// What an OpenMAX IL component of the Linux platform implements, and what its host offers it.
#pragma once

#include <OMX_Component.h>
#include <OMX_Core.h>
#include <utils/Errors.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zem {

// Every component has these two ports.
constexpr OMX_U32 kInputPort = 0;
constexpr OMX_U32 kOutputPort = 1;
constexpr OMX_U32 kPortCount = 2;

/// A buffer that the host has lent to the component: until the component returns it, or until
/// flush() of its port or stop(), whichever comes first.
struct LentBuffer {
    uint8_t* data = nullptr;  ///< input: first byte of the payload; output: start of the buffer
    size_t size = 0;          ///< input: bytes of payload, may be 0; output: room in bytes
    OMX_U32 flags = 0;        ///< input: as submitted (OMX_BUFFERFLAG_EOS ends the stream); output: 0
    OMX_TICKS timestamp = 0;  ///< input: as submitted, microseconds; output: 0
};

/// The buffers of the node that process() runs for. Only to be used inside process(), on its thread;
/// lent buffers themselves may be kept from one process() to the next.
class BufferIo {
  public:
    /// The next submitted input, in order of submission. Null when there is none, or when the host
    /// wants process() to return (a command or the node's end waits).
    virtual const LentBuffer* takeInput() = 0;
    /// Gives an input back to the client. The pointer is dead after it.
    virtual void returnInput(const LentBuffer* buffer) = 0;
    /// The next free output. Null when there is none, when the host wants process() to return, and
    /// from portSettingsChanged() on until the client has enabled the port again.
    virtual const LentBuffer* takeOutput() = 0;
    /// Gives an output to the client with `length` (at most its size) bytes from its start. Pass
    /// OMX_BUFFERFLAG_EOS with the last one, OMX_BUFFERFLAG_CODECCONFIG with the configuration.
    /// The pointer is dead after it.
    virtual void returnOutput(const LentBuffer* buffer, size_t length, OMX_U32 flags,
                              OMX_TICKS timestamp) = 0;
    /// Tells the client that the output port's format has changed: describePort() must already show
    /// the new one. Give back what output was taken first, with length 0. Until the client has
    /// enabled the port again takeOutput() gives null, and a further call only updates the definition.
    virtual void portSettingsChanged() = 0;
    /// Sends an error event. Not for damaged streams: those are concealed or dropped.
    virtual void raiseError(OMX_ERRORTYPE error) = 0;

  protected:
    ~BufferIo() = default;
};

/// One component. The host makes one call at a time, so no locking is needed; process(), start(),
/// stop() and flush() come on the node's worker thread, the others on any thread. A call may take as
/// long as coding a frame takes: messages are delivered meanwhile, by another thread. All results are
/// status codes, OK or negative.
class Component {
  public:
    virtual ~Component() = default;

    /// Fills `definition` for `port`: eDomain, format, nBufferCountMin, nBufferCountActual (default
    /// count, asked for at creation only) and nBufferSize (the least that the present format needs).
    /// The rest is zeroed before and filled by the host, which answers clients from a copy that it
    /// takes at creation, after every successful set...() and at portSettingsChanged(). A client's
    /// larger size or count is kept; sizes are rounded up to 32 bytes.
    virtual void describePort(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE* definition) const = 0;
    /// Adopts `wanted.format` for `port`, or refuses it and changes nothing. The other port's format
    /// may follow. The host has checked the port, the state, size and count.
    virtual android::status_t setPortFormat(OMX_U32 port, const OMX_PARAM_PORTDEFINITIONTYPE& wanted) = 0;

    // Any index but OMX_IndexParamPortDefinition. `params` is aligned for every structure and `size`
    // is what the caller passed: a component refuses any but the structure's size (structOf below),
    // a wrong port and an unknown index, and never looks at nSize or nVersion. The host has checked
    // the state of setParameter (Loaded, or the port at byte 8 disabled).
    virtual android::status_t getParameter(OMX_INDEXTYPE /*index*/, void* /*params*/, size_t /*size*/) {
        return android::BAD_VALUE;
    }
    virtual android::status_t setParameter(OMX_INDEXTYPE /*index*/, const void* /*params*/, size_t /*size*/) {
        return android::BAD_VALUE;
    }
    virtual android::status_t getConfig(OMX_INDEXTYPE /*index*/, void* /*params*/, size_t /*size*/) {
        return android::BAD_VALUE;
    }
    virtual android::status_t setConfig(OMX_INDEXTYPE /*index*/, const void* /*params*/, size_t /*size*/) {
        return android::BAD_VALUE;
    }
    virtual android::status_t getExtensionIndex(const char* /*name*/, OMX_INDEXTYPE* /*index*/) {
        return android::NAME_NOT_FOUND;
    }

    /// Idle to Executing: open the codec for the present format. A failure is reported to the client
    /// as an error event, and the component stays Idle.
    virtual android::status_t start() = 0;
    /// Executing to Idle (or the node is freed while executing): close the codec, forget all lent
    /// buffers; the host gives them back to the client. May be followed by another start().
    virtual void stop() = 0;
    /// Forget the lent buffers of `port` and, for the input, what was coded but not yet put out.
    /// While executing: a flush command, or the port is being disabled.
    virtual void flush(OMX_U32 port) = 0;
    /// Codes as much as it can: goes on until takeInput() or takeOutput() gives null. Called again
    /// when a buffer has been submitted, a port enabled or the component started.
    virtual void process(BufferIo& io) = 0;
};

/// `params` as a T when `size` is exactly a T's, else null.
template <typename T>
const T* structOf(const void* params, size_t size) {
    return size == sizeof(T) ? static_cast<const T*>(params) : nullptr;
}
template <typename T>
T* structOf(void* params, size_t size) {
    return size == sizeof(T) ? static_cast<T*>(params) : nullptr;
}

/// How one listed component is made.
struct ComponentFactory {
    std::string name;
    std::vector<std::string> roles;
    /// Null result: the node is not allocated (NO_MEMORY). Any thread.
    std::function<std::unique_ptr<Component>()> create;
};

/// The components that a host offers, listed in the order of registration. Filled before the host is
/// made, constant afterwards.
class ComponentRegistry {
  public:
    /// A name that is there already keeps its first factory; returns false then.
    bool add(ComponentFactory factory) {
        if (find(factory.name.c_str()) != nullptr) {
            return false;
        }
        mFactories.push_back(std::move(factory));
        return true;
    }
    const ComponentFactory* find(const char* name) const {
        for (const ComponentFactory& factory : mFactories) {
            if (factory.name == name) {
                return &factory;
            }
        }
        return nullptr;
    }
    const std::vector<ComponentFactory>& all() const { return mFactories; }

  private:
    std::vector<ComponentFactory> mFactories;
};

}  // namespace zem

/// The one entry of the codec plug-in libzemcodecs.so: registers the components of the chosen chip
/// profile. Called once, when the built-in media service is first used.
extern "C" void zemRegisterComponents(zem::ComponentRegistry& registry);
