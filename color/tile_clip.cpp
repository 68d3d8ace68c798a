#include "color/tile_clip.h"

#include <algorithm>
#include <mutex>

#include "color/tiled_nv12.h"

namespace {

constexpr int kClipEntries = 814;
constexpr int kZeroEntry = 278;

std::mutex gClipMutex;  // guards g_xClip's changes and every table's count

}  // namespace

namespace zem {

struct ClipTable {
    int references;  // g_xClip's, and one for each conversion under way
    uint8_t entries[kClipEntries];
};

}  // namespace zem

std::atomic<zem::ClipTable*> g_xClip{nullptr};

namespace {

// Call these with gClipMutex held.

zem::ClipTable* currentTable() {
    zem::ClipTable* table = g_xClip.load();
    if (!table) {
        table = new zem::ClipTable;
        table->references = 1;
        for (int i = 0; i < kClipEntries; ++i) {
            table->entries[i] = static_cast<uint8_t>(std::clamp(i - kZeroEntry, 0, 255));
        }
        g_xClip = table;
    }
    return table;
}

void release(zem::ClipTable* table) {
    if (--table->references == 0) {
        delete table;
    }
}

}  // namespace

namespace zem {

ClipReference::ClipReference() {
    std::lock_guard<std::mutex> lock(gClipMutex);
    mTable = currentTable();
    ++mTable->references;
}

ClipReference::~ClipReference() {
    std::lock_guard<std::mutex> lock(gClipMutex);
    release(mTable);
}

const uint8_t* ClipReference::zero() const {
    return mTable->entries + kZeroEntry;
}

}  // namespace zem

uint8_t* initClip() {
    std::lock_guard<std::mutex> lock(gClipMutex);
    return currentTable()->entries + kZeroEntry;
}

void delClip() {
    std::lock_guard<std::mutex> lock(gClipMutex);
    if (zem::ClipTable* table = g_xClip.exchange(nullptr)) {
        release(table);
    }
}
