// Proves that nothing a stream holds stops a decoder component: every buffer comes back, no error event is
// raised, and the next key picture is shown as it should be. Would catch an empty buffer taken for the end of
// the stream, a read past a unit's last byte, a refusal that keeps its buffer, a picture lost for good after
// a damaged configuration.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>

#include "tests/platform/decoder_client.h"

namespace zem::test {
namespace {

using Packets = std::vector<Unit>;

constexpr int kWidth = 176;
constexpr int kHeight = 100;

struct Damage {
    const char* name;
    std::function<void(Packets&, std::minstd_rand&)> apply;
};

// A packet other than the configuration.
Unit& anyUnit(Packets& packets, std::minstd_rand& random) {
    return packets[1 + random() % (packets.size() - 1)];
}

Unit noise(size_t size, std::minstd_rand& random) {
    Unit unit(size);
    for (uint8_t& byte : unit) {
        byte = static_cast<uint8_t>(random() >> 8);
    }
    return unit;
}

void flipBits(Unit& unit, std::minstd_rand& random) {
    for (int i = 0; i < 5; i++) {
        unit[4 + random() % (unit.size() - 4)] ^= static_cast<uint8_t>(1u << random() % 8);
    }
}

const Damage kDamages[] = {
    {"cut",
     [](Packets& p, std::minstd_rand& r) {
         auto& u = anyUnit(p, r);
         u.resize(r() % u.size());
     }},
    {"flipped bits", [](Packets& p, std::minstd_rand& r) { flipBits(anyUnit(p, r), r); }},
    {"flipped configuration", [](Packets& p, std::minstd_rand& r) { flipBits(p[0], r); }},
    {"lost unit", [](Packets& p, std::minstd_rand& r) { p.erase(p.begin() + 2 + r() % (p.size() - 2)); }},
    {"lost key picture", [](Packets& p, std::minstd_rand&) { p.erase(p.begin() + 1); }},
    {"noise", [](Packets& p, std::minstd_rand& r) { anyUnit(p, r) = noise(1 + r() % 3000, r); }},
    {"noise in a slice",
     [](Packets& p, std::minstd_rand& r) {
         const Unit bytes = noise(500, r);
         Unit& unit = anyUnit(p, r);
         unit.resize(10);
         unit.insert(unit.end(), bytes.begin(), bytes.end());
     }},
    {"0 bytes", [](Packets& p, std::minstd_rand& r) { anyUnit(p, r).clear(); }},
    {"0 bytes first", [](Packets& p, std::minstd_rand&) { p.insert(p.begin(), Unit()); }},
    {"1 byte", [](Packets& p, std::minstd_rand& r) { anyUnit(p, r).resize(1); }},
};

TEST(AvcDecoderDamage, TheNextKeyPictureIsWhole) {
    const CodedStream stream = codedStream(kWidth, kHeight, 6);
    const auto shown = picturesOf(stream.packets());
    for (const DecoderChip& chip : kDecoderChips) {
        std::minstd_rand random(1);
        DecoderClient client(chip, kWidth, kHeight);
        client.start();
        for (const Damage& damage : kDamages) {
            SCOPED_TRACE(std::string(chip.profile) + " " + damage.name);
            for (int round = 0; round < 4; round++) {
                Packets packets = stream.packets();
                damage.apply(packets, random);
                for (const Unit& packet : packets) {
                    client.send(packet, 1);
                }
            }
            for (const Unit& packet : stream.packets()) {
                client.send(packet, 2);
            }
            const auto decoded = client.finish(3);
            ASSERT_GT(decoded.size(), shown.size());
            const size_t first = decoded.size() - 1 - shown.size();
            const DecodedAddressing place(chip.layout, kWidth, kHeight);
            for (size_t i = 0; i < shown.size(); i++) {
                EXPECT_EQ(decoded[first + i].timestamp, 2);
                EXPECT_EQ(place.fault(decoded[first + i].bytes, shown[i]), "") << i;
            }
            EXPECT_TRUE(first == 0 || decoded[first - 1].timestamp == 1) << "more pictures than units";
        }
    }
}

}  // namespace
}  // namespace zem::test
