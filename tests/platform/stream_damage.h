// Ways in which a stream of packets is harmed before it reaches a decoder.
#pragma once

#include <functional>
#include <random>

#include "tests/platform/codec_client.h"

namespace zem::test {

using Packets = std::vector<Bytes>;
using Random = std::minstd_rand;

struct Damage {
    const char* name;
    std::function<void(Packets&, Random&)> apply;
};

inline Bytes noise(size_t size, Random& random) {
    Bytes bytes(size);
    for (uint8_t& byte : bytes) {
        byte = static_cast<uint8_t>(random() >> 8);
    }
    return bytes;
}

inline void flipBits(Bytes& packet, Random& random) {
    for (int i = 0; i < 5; i++) {
        packet[4 + random() % (packet.size() - 4)] ^= static_cast<uint8_t>(1u << random() % 8);
    }
}

/// A packet other than the first, which may hold the configuration.
inline Bytes& anyOf(Packets& packets, Random& random) {
    return packets[1 + random() % (packets.size() - 1)];
}

inline const Damage kDamages[] = {
    {"cut or filled up", [](Packets& p, Random& r) { anyOf(p, r).resize(r() % p.back().size()); }},
    {"flipped bits", [](Packets& p, Random& r) { flipBits(anyOf(p, r), r); }},
    {"flipped configuration", [](Packets& p, Random& r) { flipBits(p[0], r); }},
    {"lost unit",
     [](Packets& p, Random& r) { p.erase(p.begin() + 2 + static_cast<ptrdiff_t>(r() % (p.size() - 2))); }},
    {"lost key picture", [](Packets& p, Random&) { p.erase(p.begin() + 1); }},
    {"noise", [](Packets& p, Random& r) { anyOf(p, r) = noise(1 + r() % 3000, r); }},
    {"noise in a unit",
     [](Packets& p, Random& r) {
         const Bytes bytes = noise(500, r);
         Bytes& unit = anyOf(p, r);
         unit.resize(10);
         unit.insert(unit.end(), bytes.begin(), bytes.end());
     }},
    {"0 bytes", [](Packets& p, Random& r) { anyOf(p, r).clear(); }},
    {"0 bytes first", [](Packets& p, Random&) { p.insert(p.begin(), Bytes()); }},
    {"1 byte", [](Packets& p, Random& r) { anyOf(p, r).resize(1); }},
};

}  // namespace zem::test
