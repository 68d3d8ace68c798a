// Java objects for unit tests without a JVM: what the references of tests/support/fake_jni.h point at.
#pragma once

#include <jni.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace zem::test {

class FakeObject;

/// An argument or a result of a Java method; booleans and ints are numbers, Java's null is a null object.
struct FakeValue {
    jlong number = 0;
    FakeObject* object = nullptr;
    std::string thrown;     // not empty: the method throws this
    std::string violation;  // not empty: the call broke the method's contract; see FakeVm::violations()
};

using FakeMethod = std::function<FakeValue(const std::vector<FakeValue>& arguments)>;

/// An object of any class. Owned by the test; it must outlive every reference to it.
class FakeObject {
  public:
    explicit FakeObject(std::string name) : className(std::move(name)) {}
    virtual ~FakeObject() = default;
    FakeObject(const FakeObject&) = delete;
    FakeObject& operator=(const FakeObject&) = delete;

    /// Adds a method. It runs on the calling thread with no lock held, so it may block. Before use only.
    void define(const std::string& name, const std::string& signature, FakeMethod method) {
        methods[name + signature] = std::move(method);
    }
    /// Adds a field that native code can read (int, long, boolean or object). Before use only.
    void defineField(const std::string& name, const std::string& signature, FakeValue value) {
        fields[name + signature] = std::move(value);
    }

    const std::string className;  // "java/nio/ByteBuffer"
    std::map<std::string, FakeMethod> methods;
    std::map<std::string, FakeValue> fields;
};

/// A java.nio.ByteBuffer, direct or on the Java heap. Its bytes end where they end, so that a
/// sanitizer sees a write behind them.
class FakeByteBuffer final : public FakeObject {
  public:
    explicit FakeByteBuffer(size_t capacity, bool isDirect = true)
        : FakeObject("java/nio/ByteBuffer"), bytes(capacity), direct(isDirect) {}

    std::vector<uint8_t> bytes;
    std::atomic<bool> direct;  // a heap buffer has no address, and capacity -1
};

/// A Java object that lends buffers: `getBufferOffset`, `getFreeBuffer`, `addUsedBuffer`. It checks that
/// only lent buffers come back, and that nothing but the announced payload was written.
class FakePool final : public FakeObject {
  public:
    /// `count` free direct buffers of `capacity` bytes each.
    explicit FakePool(jint offset = 16, int count = 4, size_t capacity = 1024);
    /// Adds one more free buffer, to be lent before the others.
    FakeByteBuffer& addBuffer(size_t capacity, bool direct = true);

    /// What one addUsedBuffer call brought.
    struct Used {
        std::vector<uint8_t> payload;  // the announced bytes behind the offset
        jint size;                     // as announced
        std::thread::id thread;
    };
    /// Everything that came back so far, in order. Any thread, like all that follows.
    std::vector<Used> used() const;
    /// Waits until `count` buffers came back; false after 10 seconds.
    bool waitForUsed(size_t count) const;
    /// The payloads of used() one after the other.
    std::vector<uint8_t> stream() const;
    void forgetUsed();
    int freeBuffers() const;
    /// Buffers that were borrowed and have not come back.
    int lentBuffers() const;
    /// How often getFreeBuffer was called.
    int requests() const { return mRequests; }

    // Knobs. The first four may change at any time, the others only while no one uses the pool.
    std::atomic<jint> offset;               // what getBufferOffset answers
    std::atomic<bool> exhausted{false};     // getFreeBuffer answers null
    std::atomic<bool> keepUsed{false};      // used buffers do not become free again
    std::atomic<const char*> throwing{""};  // name of the method that throws
    void removeMethod(const std::string& name);
    std::function<void()> beforeFree;  // runs at the start of getFreeBuffer, on its thread
    std::function<void()> beforeUsed;  // runs at the start of addUsedBuffer, on its thread

  private:
    FakeValue getFreeBuffer();
    FakeValue addUsedBuffer(const std::vector<FakeValue>& arguments);
    std::string checkUsed(const FakeByteBuffer* buffer, jlong size) const;
    bool throws(const char* method) const;

    mutable std::mutex mMutex;                   // guards the four lists
    mutable std::condition_variable mUsedAdded;  // mUsed grew
    std::vector<std::unique_ptr<FakeByteBuffer>> mAll;
    std::deque<FakeByteBuffer*> mFree;
    std::set<FakeByteBuffer*> mLent;
    std::vector<Used> mUsed;
    std::atomic<int> mRequests{0};
};

}  // namespace zem::test
