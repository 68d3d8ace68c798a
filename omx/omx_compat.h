// Bridges differences between platform releases by the language, without an #ifdef.
#pragma once

#include <cstdint>

namespace zem::compat {

/// The word that some releases and vendors put behind a filled buffer's timestamp: the data's
/// offset in the heap that the component registered. 0 where the message has no such word. Call
/// with a literal 0 as second argument: it prefers the first form when both exist.
template <typename Buffer>
auto platformPrivate(const Buffer& buffer, int) -> decltype((uintptr_t)buffer.platform_private) {
    return (uintptr_t)buffer.platform_private;  // a pointer or an integer, by release
}

template <typename Buffer>
uintptr_t platformPrivate(const Buffer&, long) {
    return 0;
}

}  // namespace zem::compat
