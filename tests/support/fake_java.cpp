#include "tests/support/fake_java.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace zem::test {

static constexpr uint8_t kUntouched = 0xA5;  // what a lent buffer is filled with

FakePool::FakePool(jint firstOffset, int count, size_t capacity)
    : FakeObject("com/tarvoln/zem/FakePool"), offset(firstOffset) {
    pool = this;
    for (int i = 0; i < count; ++i) {
        addBuffer(capacity);
    }
}

void FakePool::addBuffer(size_t capacity, bool direct) {
    mAll.push_back(std::make_unique<FakeByteBuffer>(capacity, direct));
    mFree.push_front(mAll.back().get());
}

FakeByteBuffer* FakePool::getFreeBuffer() {
    ++mRequests;
    std::lock_guard<std::mutex> lock(mMutex);
    if (exhausted || mFree.empty()) {
        return nullptr;
    }
    FakeByteBuffer* const buffer = mFree.front();
    std::fill(buffer->bytes.begin(), buffer->bytes.end(), kUntouched);
    mLent.insert(buffer);
    mFree.pop_front();
    return buffer;
}

void FakePool::addUsedBuffer(FakeObject* object, jint size) {
    if (beforeUsed) {
        beforeUsed();
    }
    std::lock_guard<std::mutex> lock(mMutex);
    ASSERT_EQ(mLent.erase(object), 1U) << "a buffer that was not lent";
    auto* const buffer = static_cast<FakeByteBuffer*>(object);
    mFree.push_back(buffer);
    std::vector<uint8_t>& bytes = buffer->bytes;
    ASSERT_GE(size, 0);
    ASSERT_LE(offset + size, static_cast<jint>(bytes.size()));
    const auto begin = bytes.begin() + offset;
    const auto end = begin + size;
    EXPECT_EQ(std::count(bytes.begin(), begin, kUntouched), offset) << "bytes before the offset are written";
    EXPECT_EQ(std::count(end, bytes.end(), kUntouched), bytes.end() - end)
        << "more is written than announced";
    mUsed.emplace_back(begin, end);
}

std::vector<std::vector<uint8_t>> FakePool::used() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mUsed;
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
