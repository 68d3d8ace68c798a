// Where pictures to send come from: the abstract frame source.
#pragma once

/// One source of pictures. Driven by one thread at a time; the caller serialises. The order of the
/// virtual functions is part of the interface: sources may be built apart from the engine.
class VideoInput {
  public:
    VideoInput() = default;
    virtual ~VideoInput() = default;
    VideoInput(const VideoInput&) = delete;
    VideoInput& operator=(const VideoInput&) = delete;

    /// Takes a new picture and returns its pixels, or null on failure. The pixels belong to the source
    /// and stay valid until the next capture or the source's end.
    virtual void* capture() = 0;
    /// The pixels of the last picture taken, without taking one; null before the first.
    virtual void* getcaptured() = 0;
    /// The platform's number of the pixel format (1 = R,G,B,A bytes).
    virtual int getFormat() = 0;
    /// Bytes of the last picture taken.
    virtual int getSize() = 0;
    /// Length of one row of the last picture, in pixels (not bytes).
    virtual int getStride() = 0;
    /// Leaves out what lies above layer `layer` from the next capture on. A source without layers
    /// ignores it.
    virtual void setMaxCaptureLayer(unsigned int layer) { static_cast<void>(layer); }
};
