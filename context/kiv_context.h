// The session: the one object that owns every live media object and runs each transmit and receive path.
#pragma once

#include <android/bitmap.h>
#include <jni.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "audio/audio_decoder.h"
#include "audio/audio_encoder.h"
#include "codec/omx_mpeg_video_decoder.h"
#include "codec/omx_mpeg_video_encoder.h"
#include "context/busy_count.h"
#include "context/byte_block.h"
#include "context/codec_slot.h"
#include "context/slot.h"
#include "context/turn.h"
#include "context/video_source.h"

class AudioHookClient;

/// Java threads call the operations, codec output threads the deliveries and buffer accessors. Java
/// serialises opening and closing against the data calls of the same path by design; where it does not,
/// results may be odd but memory stays sound: what used to be plain pointers are slots, which keep an
/// object alive for the call that is inside it (slot.h: sinks, sources, byte copies; codec_slot.h:
/// codecs), and every flag and number that two threads touch is atomic. No lock is held across a call
/// into Java, and only those of the audio codecs are across a component. Opens return true or false, data
/// calls a byte count or -1, closes are safe when there is nothing to close.
class KivContext {
  public:
    class DataCallback;
    /// The four ways to Java.
    enum class Sink { Encoder, Decoder, AudioEncoder, AudioDecoder };
    /// What _attachCurrentThread found or did.
    enum class Attachment { Failed, Existing, Made };

    /// The session, created when there is none: also before the library is told its Java VM, and after
    /// deleteInstance.
    static KivContext* getInstance();
    /// The session, or null; for engine threads, which never bring one into being.
    static KivContext* existingInstance();
    /// Closes all paths and frees the session. No native method may be running.
    static void deleteInstance();

    KivContext();
    ~KivContext();
    KivContext(const KivContext&) = delete;
    KivContext& operator=(const KivContext&) = delete;

    // What the bridge tells the session.
    void setJavaVM(JavaVM* vm) { mJavaVM = vm; }
    /// A sink that was there before is let go; a delivery that is using it finishes.
    void setSink(Sink sink, std::shared_ptr<DataCallback> callback);

    // Screen. Each query costs a full-screen capture.
    int getScreenWidth();
    int getScreenHeight();
    int getScreenFormat();

    // Video transmit.
    /// `source` 1 is the screen, captured at width x height pixels; no other source can be opened.
    bool openVideoInput(int source, int width, int height);
    void closeVideoInput();
    void setMaxCaptureLayer(unsigned layer);
    /// Opens the H.264 encoder (id 2) at the size of the open input. bitrate in bits a second; gopsize:
    /// GOP length in bits 8 and up, rate control mode in the low 8; create: only for its stream header,
    /// which goes to the header slot. Waits up to 7 s for an encoder that is still open.
    bool openVideoEncoder(int id, int bitrate, int fps, int gopsize, bool create);
    /// Also lets the encoder's sink and the camera frame go.
    void closeVideoEncoder();
    bool IsEncoderOpen();
    /// Whether closing the encoder may skip the orderly end of its stream.
    void setEncoderCloseType(bool force);
    /// Captures the screen and, unless `encode` is 0, encodes it, or the camera frame while there is one.
    /// 0 or what the encoder returned; also 0, with nothing encoded, while input and encoder differ in
    /// size. The units go to the encoder's sink.
    int captureScreen(int encode);
    /// Copies the last captured picture, rows packed, RGBA only. Returns the picture's bytes, or -1.
    int getCapturedScreenData(uint8_t* dst, int size);
    /// Encodes the last captured picture; the unit goes to the encoder's sink, never to `dst`.
    int getVideoEncoderData(uint8_t* dst, int size);
    /// Keeps a copy of a YUV 4:2:0 picture of the encoder's size; captureScreen encodes it in place of the
    /// screen until the encoder closes. Returns `size`, or -1.
    int setCameraData(uint8_t* data, int size);

    // Video receive.
    /// Opens the H.264 decoder (id 2) for pictures of width x height pixels. Waits up to 1 s for a decoder
    /// that is still open, and 5 s more when it would not end in that time.
    bool openVideoDecoder(int id, int width, int height);
    /// Also lets the decoder's sink and a pending stream header go.
    void closeVideoDecoder();
    /// The same; the stream is ended in order first unless `closeType` says to skip that.
    void closeVideoDecoder(bool closeType);
    bool IsDecoderOpen();
    /// Decodes one unit of `size` bytes, or a pending stream header in its place. 0, or -1. The pictures
    /// go to the decoder's sink, whatever `flag` is. Waits as long as the component has no free input
    /// buffer, until it fails or the decoder is closed.
    int decodeVideo(uint8_t* data, int size, int flag);
    /// What the decoder answers; -1 without one. The hardware decoder copies nothing and answers -1.
    int getDecodedBitmap(AndroidBitmapInfo* info, uint8_t* pixels);
    /// Pixels, 0 while the decoder does not know them, -1 without a decoder.
    int getDecodedVideoWidth();
    int getDecodedVideoHeight();

    // Stream header: one slot for the sending and the receiving side.
    bool ReadyEncoderHeader() const;
    /// Keeps a copy unless a header is kept already. Returns the copy's address, or null.
    const uint8_t* keepEncoderHeader(const uint8_t* data, int size);
    std::shared_ptr<const zem::ByteBlock> encoderHeader() const { return mEncoderHeader.get(); }
    /// Empties the slot if it still holds `header`; false when another thread was first.
    bool takeEncoderHeader(const std::shared_ptr<const zem::ByteBlock>& header);

    // Audio.
    /// Opens the encoder: Vorbis (id 3) or AAC (id 4); one that is open goes first. `sampling` in Hz;
    /// `quality`: of AAC the index of a bit rate, of Vorbis nothing.
    bool openAudioEncoder(int id, int channels, int sampling, int quality);
    /// Stops the audio hook first, and with it ends an encodeAudio that waits for the component. Also lets
    /// the sink go.
    void closeAudioEncoder();
    /// The same codecs. The numbers must be the sender's; `quality` is only logged.
    bool openAudioDecoder(int id, int channels, int sampling, int quality);
    /// Also lets the sink go.
    void closeAudioDecoder();
    /// Encodes `size` bytes of interleaved signed 16-bit stereo, while the hook runs: -1 otherwise. What is
    /// ready goes to the encoder's sink unless `deliver` is 0. Returns what the encoder returned, or -1. A
    /// Vorbis stream is ended by fewer than 4 bytes.
    int encodeAudio(uint8_t* pcm, int size, int deliver);
    /// Decodes `size` bytes as they came from the other end; what is ready goes to the decoder's sink unless
    /// `deliver` is 0. Returns what the decoder returned, or -1.
    int decodeAudio(uint8_t* data, int size, int deliver);
    // For calls with `deliver` 0: copy what is ready, at most `size` bytes; its bytes, or -1.
    int getAudioEncoderData(uint8_t* dst, int size);
    int getAudioDecoderData(uint8_t* dst, int size);
    /// Hz, or -1 without a decoder.
    int getAudioSamplingRate();
    int getAudioChannelCount();
    /// Loads the hook library, in place of a client that was there before. False without a library.
    bool openAudioHookClient();
    /// From now on the system's sound goes to the audio encoder.
    bool startAudioHookClient();
    /// Waits without limit until no thread is inside encodeAudio, then ends the client. Out of a delivery,
    /// waits for none and only stops it.
    void stopAudioHookClient();
    /// Hz; 48000 without a client.
    int getAudioHookClientSampleRate();
    /// Answers the sample rate while a client exists, else 1: callers know the pair as it stands.
    int getAudioHookClientOutputFormat();
    /// States 1 to 9 amplify hooked sound, 1 the most; every other state leaves it as it is.
    bool setAudioVolumeState(int state, int unused);
    /// What the hook client calls on the library's thread; `info` is an AudioHookBuffer. Allowed: everything
    /// but opening and starting the hook. Never creates the session.
    static void AudioHookClientCallback(int event, void* user, void* info);
    bool isAudioHookRunning() const { return mAudioHookRunning; }
    int hookCallbackCount() const { return mHookCallbackCount; }
    void resetHookCallbackCount() { mHookCallbackCount = 0; }

    // The hardware codecs' gathered output, for the codec drivers. 0 or null, and nothing done, while
    // there is no hardware codec of that kind.
    uint8_t* GetEncoderBuffer();
    int GetEncodedSize();
    void SetEncodedSize(int size);
    uint8_t* GetDecoderBuffer();
    int GetDecodedSize();
    void SetDecodedSize(int size);
    uint8_t* GetAudEncoderBuffer();
    int GetAudEncodedSize();
    void SetAudEncodedSize(int size);
    uint8_t* GetAudDecoderBuffer();
    int GetAudDecodedSize();
    void SetAudDecodedSize(int size);

    // Output to Java. The calling thread must be attached to the VM.
    void onNewEncoderData(uint8_t* data, int size);
    void onNewDecoderData(uint8_t* data, int size);
    void onNewAudioEncoderData(uint8_t* data, int size);
    void onNewAudioDecoderData(uint8_t* data, int size);
    /// The same from a thread of any kind: attached for just this delivery if it was not attached before.
    void deliver(Sink sink, uint8_t* data, int size);
    /// Sees that the calling thread has a Java environment and stores it in the sink. When `Made` comes
    /// back the caller owes a _detachCurrentThread.
    Attachment _attachCurrentThread(DataCallback* callback);
    void _detachCurrentThread(DataCallback* callback);

  private:
    zem::SharedSlot<DataCallback>& slotOf(Sink sink);
    void passOn(Sink sink, const char* whenAbsent, uint8_t* data, int size);
    void endPreviousEncoder();
    void removeEncoder();
    void endPreviousDecoder();
    void forgetReceived();
    int decodeOrPrime(omxMpegVideoDecoder& decoder, uint8_t* data, int size);
    void prime(omxMpegVideoEncoder& encoder, zem::VideoSource& source);
    int encodeScreen(omxMpegVideoEncoder& encoder, const zem::Picture& picture);
    int encodeCamera(omxMpegVideoEncoder& encoder, const zem::ByteBlock& frame, int stride);
    GatheredOutput takeEncoded(const zem::CodecSlot<AudioEncoder>::Use& encoder, int id);
    static void lendToJava(DataCallback& sink, const GatheredOutput& output);
    bool decodeToJava();
    void onHookEvent(int event, void* user, void* info);
    void encodeHooked(uint8_t* pcm, int size);

    static std::atomic<KivContext*> instance;

    std::atomic<int32_t> mHookCallbackCount{0};  // blocks of hooked sound since the last start
    std::atomic<JavaVM*> mJavaVM{nullptr};
    zem::SharedSlot<zem::VideoSource> mVideoInput;
    zem::CodecSlot<omxMpegVideoEncoder> mVideoEncoder;  // by its own type: camera frames need it
    zem::CodecSlot<omxMpegVideoDecoder> mVideoDecoder;  // by its own type: closing it is not a VideoDecoder's
    zem::CodecSlot<AudioEncoder> mAudioEncoder;
    zem::CodecSlot<AudioDecoder> mAudioDecoder;
    std::atomic<int32_t> mVideoCodecId{0};                // of the last open, encoder or decoder
    std::atomic<int32_t> mAudioCodecId{0};                // of the last open, encoder or decoder
    const std::unique_ptr<uint8_t[]> mVideoEncodeBuffer;  // what encode() is given as `out`
    const std::unique_ptr<uint8_t[]> mAudioEncodeBuffer;  // contents guarded by mAudioEncodeMutex
    const std::unique_ptr<uint8_t[]> mAudioDecodeBuffer;  // reserved
    std::atomic<int32_t> mVolumeState{0};
    std::atomic<int32_t> mVolumeGain{0};  // in 1/4096; 0: no gain stage
    zem::SharedSlot<DataCallback> mEncoderCallback;
    zem::SharedSlot<DataCallback> mDecoderCallback;
    std::atomic<uint8_t*> mDecoderReserved{nullptr};  // owned; reserved for the decoder
    zem::SharedSlot<DataCallback> mAudioEncoderCallback;
    zem::SharedSlot<DataCallback> mAudioDecoderCallback;
    zem::SharedSlot<const zem::ByteBlock> mEncoderHeader;
    std::atomic<int32_t> mEncoderHeaderSize{0};  // of the header kept last, also when it was taken
    zem::SharedSlot<const zem::ByteBlock> mCameraData;
    zem::CodecSlot<AudioHookClient> mAudioHookClient;  // no codec, but ended by one thread in the same way
    std::atomic<bool> mAudioHookRunning{false};
    zem::BusyCount
        mAudioEncodeBusy;  // of encodeAudio and the hook's callback; stopping the hook waits for it
    // Codecs serve one thread at a time: held for the calls into one, where an encoder may wait for its
    // component; never across Java.
    std::mutex mAudioEncodeMutex;
    std::mutex mAudioDecodeMutex;
    zem::Turn mEncodeTurn;       // of the calls that take pictures and encode them
    zem::Turn mDecodeTurn;       // of the calls that decode
    zem::Turn mEncoderOpenTurn;  // of openVideoEncoder
    zem::Turn mDecoderOpenTurn;  // of openVideoDecoder
};

/// The native handle of one Java buffer pool: borrows a free buffer, fills it, gives it back as used.
/// Any thread that has a Java environment; every call uses the calling thread's. Exceptions that Java
/// throws are logged and cleared, and that data is dropped.
class KivContext::DataCallback {
  public:
    /// `object` must offer getBufferOffset, getFreeBuffer and addUsedBuffer. Kept by a global reference.
    DataCallback(JNIEnv* env, jobject object);
    /// Attaches a thread that has no environment for just this.
    ~DataCallback();
    DataCallback(const DataCallback&) = delete;
    DataCallback& operator=(const DataCallback&) = delete;

    /// Borrows a buffer: returns its first writable byte, with the writable bytes in `*size` and a local
    /// reference of this thread in `*borrowed`, or null (nothing is borrowed then).
    uint8_t* getFreeBuffer(int* size, jobject* borrowed);
    /// Gives a borrowed buffer back with `size` bytes of payload and ends the reference.
    void addUsedBuffer(jobject borrowed, int size);
    /// Copies `size` bytes at `data` to Java. Dropped with a log line when the pool has no buffer or a
    /// buffer that is too small; the latter is not given back, the pool has to live with that.
    void onNewData(uint8_t* data, int size);

  private:
    friend class KivContext;

    /// The calling thread's environment, or null when it is not attached or there is no session.
    static JNIEnv* currentEnv();

    std::atomic<JNIEnv*> mEnv;     // of the thread that attached last; not used to call
    jobject mObject = nullptr;     // global reference
    std::atomic<jobject> mBuffer;  // borrowed last; not used to call
    jmethodID mGetFreeBuffer = nullptr;
    jmethodID mAddUsedBuffer = nullptr;
    int32_t mBufferOffset = 0;  // bytes at the start of each buffer that are Java's
};
