// Shared memory: a heap, and a block of one.
#pragma once

#include <binder/IInterface.h>

namespace android {

class IMemoryHeap : public IInterface {
  public:
    DECLARE_META_INTERFACE(MemoryHeap)

    enum { READ_ONLY = 1 };

    /// The heap's file descriptor, owned by the heap.
    virtual int getHeapID() const = 0;
    /// MAP_FAILED when the heap could not be mapped.
    virtual void* getBase() const = 0;
    virtual size_t getSize() const = 0;
    virtual uint32_t getFlags() const = 0;
    virtual uint32_t getOffset() const = 0;
};

class BnMemoryHeap : public BnInterface<IMemoryHeap> {
  public:
    BnMemoryHeap();

  protected:
    ~BnMemoryHeap() override;
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0) override;
};

class IMemory : public IInterface {
  public:
    DECLARE_META_INTERFACE(Memory)

    /// The heap of this block; its place there and its size in bytes go to `offset` and `size`.
    virtual sp<IMemoryHeap> getMemory(ssize_t* offset = nullptr, size_t* size = nullptr) const = 0;

    /// 0 when the heap could not be mapped. Valid while the block is referenced.
    void* pointer() const;
    size_t size() const;
    ssize_t offset() const;
};

class BnMemory : public BnInterface<IMemory> {
  public:
    BnMemory();

  protected:
    ~BnMemory() override;
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0) override;
};

}  // namespace android
