// Java objects for unit tests without a JVM: what the references of tests/support/fake_jni.h point at.
#pragma once

#include <jni.h>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace zem::test {

class FakePool;

/// An object of any class. Owned by the test; it must outlive every reference to it.
struct FakeObject {
    explicit FakeObject(std::string name) : className(std::move(name)) {}
    FakeObject(const FakeObject&) = delete;
    FakeObject& operator=(const FakeObject&) = delete;

    const std::string className;             // "java/nio/ByteBuffer"
    std::vector<uint8_t>* memory = nullptr;  // what a direct buffer's address is asked from
    FakePool* pool = nullptr;                // whose methods it has, if any
};

/// A java.nio.ByteBuffer, direct or on the Java heap. Its bytes end where they end, so that a
/// sanitizer sees a write behind them.
struct FakeByteBuffer final : FakeObject {
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

    // Its Java methods; the third is `offset`. They may block.
    FakeByteBuffer* getFreeBuffer();
    void addUsedBuffer(FakeObject* object, jint size);

    /// The payloads that came back so far, in order. Any thread, like all that follows.
    std::vector<std::vector<uint8_t>> used() const;
    void forgetUsed();
    /// Buffers that were borrowed and have not come back.
    int lentBuffers() const;
    /// How often getFreeBuffer was called.
    int requests() const { return mRequests; }

    std::atomic<jint> offset;               // what getBufferOffset answers
    std::atomic<bool> exhausted{false};     // getFreeBuffer answers null
    std::atomic<const char*> throwing{""};  // name of the method that does nothing but throw
    std::atomic<const char*> missing{""};   // name of the method that there is not
    std::function<void()> beforeUsed;       // runs at the start of addUsedBuffer; set before use only

  private:
    mutable std::mutex mMutex;  // guards the four lists
    std::vector<std::unique_ptr<FakeByteBuffer>> mAll;
    std::deque<FakeByteBuffer*> mFree;
    std::set<FakeObject*> mLent;
    std::vector<std::vector<uint8_t>> mUsed;
    std::atomic<int> mRequests{0};
};

}  // namespace zem::test
