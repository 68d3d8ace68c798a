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
#include <vector>

namespace zem::test {

class FakeObject;

/// An argument or a result of a Java method; booleans and ints are numbers, Java's null is a null object.
struct FakeValue {
    jlong number = 0;
    FakeObject* object = nullptr;
    bool thrown = false;  // the method throws instead
};

using FakeMethod = std::function<FakeValue(const std::vector<FakeValue>& arguments)>;

/// An object of any class. Owned by the test; it must outlive every reference to it.
class FakeObject {
  public:
    explicit FakeObject(std::string name) : className(std::move(name)) {}
    FakeObject(const FakeObject&) = delete;
    FakeObject& operator=(const FakeObject&) = delete;

    /// Adds a method, whose parameters may be int, boolean and objects. It runs on the calling thread
    /// with no lock held, so it may block. Before use only.
    void define(const std::string& name, const std::string& signature, FakeMethod method) {
        methods[name + signature] = std::move(method);
    }

    const std::string className;  // "java/nio/ByteBuffer"
    std::map<std::string, FakeMethod> methods;
    std::vector<uint8_t>* memory = nullptr;  // what a direct buffer's address is asked from
};

/// A java.nio.ByteBuffer, direct or on the Java heap. Its bytes end where they end, so that a
/// sanitizer sees a write behind them.
class FakeByteBuffer final : public FakeObject {
  public:
    explicit FakeByteBuffer(size_t capacity, bool direct = true)
        : FakeObject("java/nio/ByteBuffer"), bytes(capacity) {
        memory = direct ? &bytes : nullptr;
    }

    std::vector<uint8_t> bytes;
};

/// A Java object that lends buffers: `getBufferOffset`, `getFreeBuffer`, `addUsedBuffer`. The test fails
/// when another buffer comes back than was lent, or when more than the announced payload was written.
class FakePool final : public FakeObject {
  public:
    /// `count` free direct buffers of `capacity` bytes each.
    explicit FakePool(jint firstOffset = 16, int count = 4, size_t capacity = 1024);
    /// Adds one more free buffer, to be lent before the others.
    void addBuffer(size_t capacity, bool direct = true);
    /// Before use only.
    void removeMethod(const std::string& name) { methods.erase(methods.lower_bound(name + "(")); }

    /// The payloads that came back so far, in order. Any thread, like all that follows.
    std::vector<std::vector<uint8_t>> used() const;
    /// Waits until `count` buffers came back; false after 10 seconds.
    bool waitForUsed(size_t count) const;
    void forgetUsed();
    /// Buffers that were borrowed and have not come back.
    int lentBuffers() const;
    /// How often getFreeBuffer was called.
    int requests() const { return mRequests; }

    std::atomic<jint> offset;               // what getBufferOffset answers
    std::atomic<bool> exhausted{false};     // getFreeBuffer answers null
    std::atomic<const char*> throwing{""};  // name of the method that does nothing but throw
    std::function<void()> beforeUsed;       // runs at the start of addUsedBuffer; set before use only

  private:
    void serve(const char* name, const char* signature, FakeMethod body);
    FakeValue getFreeBuffer();
    FakeValue addUsedBuffer(FakeObject* object, jlong size);

    mutable std::mutex mMutex;                   // guards the four lists
    mutable std::condition_variable mUsedAdded;  // mUsed grew
    std::vector<std::unique_ptr<FakeByteBuffer>> mAll;
    std::deque<FakeByteBuffer*> mFree;
    std::set<FakeObject*> mLent;
    std::vector<std::vector<uint8_t>> mUsed;
    std::atomic<int> mRequests{0};
};

}  // namespace zem::test
