#include "tests/support/fake_java.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>

namespace zem::test {

static constexpr uint8_t kUntouched = 0xA5;  // what a lent buffer is filled with

FakePool::FakePool(jint firstOffset, int count, size_t capacity)
    : FakeObject("com/tarvoln/zem/FakePool"), offset(firstOffset) {
    for (int i = 0; i < count; ++i) {
        addBuffer(capacity);
    }
    serve("getBufferOffset", "()I", [this](const std::vector<FakeValue>&) {
        FakeValue answer;
        answer.number = offset;
        return answer;
    });
    serve("getFreeBuffer", "()Ljava/nio/ByteBuffer;",
          [this](const std::vector<FakeValue>&) { return getFreeBuffer(); });
    serve("addUsedBuffer", "(Ljava/nio/ByteBuffer;I)V", [this](const std::vector<FakeValue>& arguments) {
        return addUsedBuffer(arguments[0].object, arguments[1].number);
    });
}

void FakePool::serve(const char* name, const char* signature, FakeMethod body) {
    define(name, signature, [this, name, body = std::move(body)](const std::vector<FakeValue>& arguments) {
        FakeValue exception;
        exception.thrown = true;
        return strcmp(throwing, name) == 0 ? exception : body(arguments);
    });
}

void FakePool::addBuffer(size_t capacity, bool direct) {
    mAll.push_back(std::make_unique<FakeByteBuffer>(capacity, direct));
    mFree.push_front(mAll.back().get());
}

FakeValue FakePool::getFreeBuffer() {
    ++mRequests;
    FakeValue answer;
    std::lock_guard<std::mutex> lock(mMutex);
    if (!exhausted && !mFree.empty()) {
        std::vector<uint8_t>& bytes = mFree.front()->bytes;
        std::fill(bytes.begin(), bytes.end(), kUntouched);
        answer.object = mFree.front();
        mLent.insert(mFree.front());
        mFree.pop_front();
    }
    return answer;
}

FakeValue FakePool::addUsedBuffer(FakeObject* object, jlong size) {
    if (beforeUsed) {
        beforeUsed();
    }
    std::lock_guard<std::mutex> lock(mMutex);
    if (mLent.erase(object) == 0) {
        ADD_FAILURE() << "addUsedBuffer: a buffer that was not lent";
        return {};
    }
    auto* const buffer = static_cast<FakeByteBuffer*>(object);
    mFree.push_back(buffer);
    std::vector<uint8_t>& bytes = buffer->bytes;
    EXPECT_GE(size, 0);
    EXPECT_LE(offset + size, static_cast<jlong>(bytes.size()));
    const auto begin = bytes.begin() + offset;
    const auto end = begin + static_cast<ptrdiff_t>(size);
    EXPECT_EQ(std::count(bytes.begin(), begin, kUntouched), offset) << "bytes before the offset are written";
    EXPECT_EQ(std::count(end, bytes.end(), kUntouched), bytes.end() - end)
        << "more is written than announced";
    mUsed.emplace_back(begin, end);
    mUsedAdded.notify_all();
    return {};
}

std::vector<std::vector<uint8_t>> FakePool::used() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mUsed;
}

bool FakePool::waitForUsed(size_t count) const {
    std::unique_lock<std::mutex> lock(mMutex);
    return mUsedAdded.wait_for(lock, std::chrono::seconds(10), [&] { return mUsed.size() >= count; });
}

void FakePool::forgetUsed() {
    std::lock_guard<std::mutex> lock(mMutex);
    mUsed.clear();
}

int FakePool::lentBuffers() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return static_cast<int>(mLent.size());
}

}  // namespace zem::test
