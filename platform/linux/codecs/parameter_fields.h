// What components' parameter structures have in common, and how they are read and filled.
#pragma once

#include <cstring>

#include "platform/linux/omx_host/component.h"

namespace zem {

/// An enumeration field as the word that the client wrote, which need not be a value of the enumeration.
template <typename E>
OMX_U32 wordOf(const E& field) {
    static_assert(sizeof(E) == sizeof(OMX_U32), "not a word");
    OMX_U32 word = 0;
    memcpy(&word, &field, sizeof(word));
    return word;
}

/// `params` as a T of the output port, or null.
template <typename T, typename V>
auto ofOutputPort(V* params, size_t size) {
    auto* fields = structOf<T>(params, size);
    return fields != nullptr && fields->nPortIndex == kOutputPort ? fields : nullptr;
}

/// `params` as a T (a port format structure) of either port, or null.
template <typename T, typename V>
auto ofAnyPort(V* params, size_t size) {
    auto* fields = structOf<T>(params, size);
    return fields != nullptr && fields->nPortIndex < kPortCount ? fields : nullptr;
}

/// Fills what every structure begins with.
template <typename T>
void fillHeader(T* fields, OMX_U32 port) {
    fields->nSize = sizeof(T);
    fields->nVersion.nVersion = 0;
    fields->nVersion.s.nVersionMajor = 1;
    fields->nPortIndex = port;
}

/// The answer to a client that walks a port's formats, of which there is one: `fill` makes it.
template <typename T, typename Fill>
android::status_t getOnlyFormat(void* params, size_t size, Fill fill) {
    auto* fields = ofAnyPort<T>(params, size);
    if (fields == nullptr) {
        return android::BAD_VALUE;
    }
    if (fields->nIndex > 0) {
        return android::BAD_INDEX;
    }
    fillHeader(fields, fields->nPortIndex);
    fill(fields);
    return android::OK;
}

}  // namespace zem
