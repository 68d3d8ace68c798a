// What all codec components have in common: the way of buffers through a codec, and how a stream ends.
#pragma once

#include <optional>

#include "platform/linux/omx_host/component.h"

namespace zem {

/// Takes inputs one by one and puts out what comes of each before the next: whole, one block a buffer, with
/// no more than one waiting. A block that outgrows its buffer is dropped with a log line. An end-of-stream
/// input gives an empty end-of-stream output behind the last block, with its timestamp.
///
/// While a change of the output port's settings is announced, blocks wait for the buffers that the client
/// then allocates; what comes behind them stays with the host.
class CodecComponent : public Component {
  public:
    android::status_t start() final;
    void stop() final;
    void flush(OMX_U32 port) final;
    void process(BufferIo& io) final;

  protected:
    struct Block {
        size_t size;  // bytes
        OMX_U32 flags;
        OMX_TICKS timestamp;
    };

    struct Bytes {
        const uint8_t* data;
        size_t size;
    };

    // The codec. All but the first two are called while it is open, on the worker thread.
    virtual bool open() = 0;
    virtual void close() = 0;
    /// What a stream begins with; constant while the codec is open.
    virtual Bytes configuration() const { return {nullptr, 0}; }
    /// Forgets what was taken and what waits.
    virtual void forget() = 0;
    /// Codes or copies all of `input`, which goes back to the client then.
    virtual void take(BufferIo& io, const LentBuffer& input) = 0;
    /// The stream has ended: what is left comes out. May be called more than once.
    virtual void drain() {}
    /// What waits to be put out, the same block until drop(); none when the codec wants more.
    virtual std::optional<Block> next(BufferIo& io) = 0;
    /// Writes the waiting block's bytes to `to`.
    virtual void write(uint8_t* to) = 0;
    /// The waiting block has been put out, or was `lost`.
    virtual void drop(bool lost) = 0;

    /// Tells the client that describePort() shows a new output format.
    void announceChange(BufferIo& io);

  private:
    bool takeInput(BufferIo& io);
    bool putOut(BufferIo& io, const Block& block);
    bool putOutConfiguration(BufferIo& io);
    bool putOutEnd(BufferIo& io);
    bool haveOutput(BufferIo& io);
    bool fits(size_t size) const;
    void returnOutput(BufferIo& io, size_t length, OMX_U32 flags, OMX_TICKS timestamp);

    bool mOpen = false;
    const LentBuffer* mOutput = nullptr;  // lent by the host for the next block; forgotten on its demand
    std::optional<OMX_TICKS> mBegun;      // the first input has come, of this timestamp
    bool mConfigured = false;             // the configuration is put out
    std::optional<OMX_TICKS> mEnd;        // an end of stream has come, of this timestamp
    bool mAwaitsBuffers = false;          // a change is announced, no buffer has come since
};

/// A component whose ports and parameters are a `Parameters`' affair.
template <typename Parameters>
class ConfiguredComponent : public CodecComponent {
  public:
    template <typename... Arguments>
    explicit ConfiguredComponent(Arguments... arguments) : mParameters(arguments...) {}

    void describePort(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE* definition) const final {
        mParameters.describePort(port, definition);
    }
    android::status_t setPortFormat(OMX_U32 port, const OMX_PARAM_PORTDEFINITIONTYPE& wanted) final {
        return mParameters.setPortFormat(port, wanted);
    }
    android::status_t getParameter(OMX_INDEXTYPE index, void* params, size_t size) final {
        return mParameters.getParameter(index, params, size);
    }
    android::status_t setParameter(OMX_INDEXTYPE index, const void* params, size_t size) final {
        return mParameters.setParameter(index, params, size);
    }

  protected:
    Parameters mParameters;
};

}  // namespace zem
