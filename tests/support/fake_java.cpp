#include "tests/support/fake_java.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace zem::test {

namespace {

constexpr uint8_t kUntouched = 0xA5;  // what a lent buffer is filled with

FakeValue thrown(const char* message) {
    FakeValue value;
    value.thrown = message;
    return value;
}

FakeValue violation(std::string text) {
    FakeValue value;
    value.violation = std::move(text);
    return value;
}

}  // namespace

FakePool::FakePool(jint firstOffset, int count, size_t capacity)
    : FakeObject("com/tarvoln/zem/FakePool"), offset(firstOffset) {
    for (int i = 0; i < count; ++i) {
        addBuffer(capacity);
    }
    define("getBufferOffset", "()I", [this](const std::vector<FakeValue>&) {
        FakeValue value = throws("getBufferOffset") ? thrown("getBufferOffset") : FakeValue{};
        value.number = offset;
        return value;
    });
    define("getFreeBuffer", "()Ljava/nio/ByteBuffer;",
           [this](const std::vector<FakeValue>&) { return getFreeBuffer(); });
    define("addUsedBuffer", "(Ljava/nio/ByteBuffer;I)V",
           [this](const std::vector<FakeValue>& arguments) { return addUsedBuffer(arguments); });
}

FakeByteBuffer& FakePool::addBuffer(size_t capacity, bool direct) {
    std::lock_guard<std::mutex> lock(mMutex);
    mAll.push_back(std::make_unique<FakeByteBuffer>(capacity, direct));
    mFree.push_front(mAll.back().get());
    return *mAll.back();
}

FakeValue FakePool::getFreeBuffer() {
    ++mRequests;
    if (beforeFree) {
        beforeFree();
    }
    if (throws("getFreeBuffer")) {
        return thrown("getFreeBuffer");
    }
    FakeValue value;
    std::lock_guard<std::mutex> lock(mMutex);
    if (!exhausted && !mFree.empty()) {
        FakeByteBuffer* buffer = mFree.front();
        mFree.pop_front();
        mLent.insert(buffer);
        std::fill(buffer->bytes.begin(), buffer->bytes.end(), kUntouched);
        value.object = buffer;
    }
    return value;
}

FakeValue FakePool::addUsedBuffer(const std::vector<FakeValue>& arguments) {
    if (beforeUsed) {
        beforeUsed();
    }
    std::lock_guard<std::mutex> lock(mMutex);
    // Looked up by address first: only what this pool lent is known to be one of its buffers.
    auto lent = std::find_if(mLent.begin(), mLent.end(), [&](const FakeByteBuffer* buffer) {
        return static_cast<const FakeObject*>(buffer) == arguments[0].object;
    });
    if (lent == mLent.end()) {
        return violation("addUsedBuffer: a buffer that was not lent");
    }
    FakeByteBuffer* buffer = *lent;
    const std::string wrong = checkUsed(buffer, arguments[1].number);
    if (!wrong.empty()) {
        return violation(wrong);
    }
    mLent.erase(lent);
    if (!keepUsed) {
        mFree.push_back(buffer);
    }
    if (throws("addUsedBuffer")) {
        return thrown("addUsedBuffer");
    }
    const auto begin = buffer->bytes.begin() + offset;
    mUsed.push_back({{begin, begin + static_cast<ptrdiff_t>(arguments[1].number)},
                     static_cast<jint>(arguments[1].number),
                     std::this_thread::get_id()});
    mUsedAdded.notify_all();
    return {};
}

std::string FakePool::checkUsed(const FakeByteBuffer* buffer, jlong size) const {
    const jlong capacity = static_cast<jlong>(buffer->bytes.size());
    if (size < 0 || offset < 0 || offset + size > capacity) {
        return "addUsedBuffer: more than the buffer holds";
    }
    const auto untouched = [](uint8_t byte) { return byte == kUntouched; };
    const auto payload = buffer->bytes.begin() + offset;
    if (!std::all_of(buffer->bytes.begin(), payload, untouched)) {
        return "addUsedBuffer: bytes before the offset were written";
    }
    if (!std::all_of(payload + static_cast<ptrdiff_t>(size), buffer->bytes.end(), untouched)) {
        return "addUsedBuffer: bytes behind the announced size were written";
    }
    return {};
}

bool FakePool::throws(const char* method) const {
    return strcmp(throwing.load(), method) == 0;
}

void FakePool::removeMethod(const std::string& name) {
    for (auto method = methods.begin(); method != methods.end();) {
        method = method->first.rfind(name + "(", 0) == 0 ? methods.erase(method) : std::next(method);
    }
}

std::vector<FakePool::Used> FakePool::used() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mUsed;
}

bool FakePool::waitForUsed(size_t count) const {
    std::unique_lock<std::mutex> lock(mMutex);
    return mUsedAdded.wait_for(lock, std::chrono::seconds(10), [&] { return mUsed.size() >= count; });
}

std::vector<uint8_t> FakePool::stream() const {
    std::lock_guard<std::mutex> lock(mMutex);
    std::vector<uint8_t> all;
    for (const Used& one : mUsed) {
        all.insert(all.end(), one.payload.begin(), one.payload.end());
    }
    return all;
}

void FakePool::forgetUsed() {
    std::lock_guard<std::mutex> lock(mMutex);
    mUsed.clear();
}

int FakePool::freeBuffers() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return static_cast<int>(mFree.size());
}

int FakePool::lentBuffers() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return static_cast<int>(mLent.size());
}

}  // namespace zem::test
