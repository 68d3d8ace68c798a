// The leading bytes of a unit as arguments of a log line that prints them in hex.
#pragma once

/// The first 2, 8 or 13 of `bytes`, comma by comma, for as many %02X: the formats stay literals that
/// the compiler checks and that a search of the sources finds.
#define ZEM_BYTES_2(bytes) (bytes)[0], (bytes)[1]
#define ZEM_BYTES_8(bytes) \
    ZEM_BYTES_2(bytes), (bytes)[2], (bytes)[3], (bytes)[4], (bytes)[5], (bytes)[6], (bytes)[7]
#define ZEM_BYTES_13(bytes) ZEM_BYTES_8(bytes), (bytes)[8], (bytes)[9], (bytes)[10], (bytes)[11], (bytes)[12]
