// The clip table of the tiled conversion, and how a conversion keeps it while others drop it.
#pragma once

#include <cstdint>

namespace zem {

struct ClipTable;

/// Holds the clip table for as long as a conversion reads it: delClip() on another thread then drops
/// the table, but does not free it under the reader. Creates the table when there is none. Any thread.
class ClipReference {
  public:
    ClipReference();
    ~ClipReference();
    ClipReference(const ClipReference&) = delete;
    ClipReference& operator=(const ClipReference&) = delete;

    /// The entry for 0; valid from -278 to 535.
    const uint8_t* zero() const;

  private:
    ClipTable* mTable;  // counted
};

}  // namespace zem
