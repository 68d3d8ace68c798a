// What happens to the output of an AAC component: gathered in the codec's buffer, or handed to the
// session when it is too large for that.
#pragma once

// Output handlers: all run on the component's output thread, with a codecUserData as `user` (null is
// ignored), and return 0. Each output that is not empty counts in the record and signals its condition.

int GetAudEncodedData2(void* handle, void* data, unsigned int size, void* user);
int GetAudDecodedData2(void* handle, void* data, unsigned int size, void* user);
/// Drops everything.
int GetAudDecodedData3(void* handle, void* data, unsigned int size, void* user);
