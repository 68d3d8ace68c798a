// Proves that nothing a stream holds stops a decoder component: every buffer comes back, no error event is
// raised, and the next key picture is shown as it should be. Would catch an empty buffer taken for the end of
// the stream, a read past a unit's last byte, a refusal that keeps its buffer, a picture lost for good after
// a damaged configuration.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>

#include "tests/platform/decoder_client.h"
#include "tests/support/log_capture.h"

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
    {"join in mid-stream", [](Packets& p, std::minstd_rand&) { p.erase(p.begin(), p.begin() + 2); }},
    {"out of order", [](Packets& p, std::minstd_rand& r) { std::swap(anyUnit(p, r), anyUnit(p, r)); }},
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
    {"start code alone",
     [](Packets& p, std::minstd_rand& r) {
         anyUnit(p, r) = {0, 0, 0, 1};
     }},
    {"header alone", [](Packets& p, std::minstd_rand& r) { anyUnit(p, r).resize(5); }},
};

TEST(AvcDecoderDamage, TheNextKeyPictureIsWhole) {
    const CodedStream stream = codedStream(kWidth, kHeight, 6);
    const auto shown = picturesOf(stream.packets());
    for (const DecoderChip& chip : kDecoderChips) {
        std::minstd_rand random(1);
        for (const Damage& damage : kDamages) {
            SCOPED_TRACE(std::string(chip.profile) + " " + damage.name);
            DecoderClient client(chip);
            client.expectSize(kWidth, kHeight);
            client.start();
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

// What goes missing says so once, not once a unit.
TEST(AvcDecoderDamage, ARunOfUselessUnitsIsOneLine) {
    const CodedStream stream = codedStream(kWidth, kHeight, 1);
    const Unit garbage = {0, 0, 0, 1, 0x65, 0x88, 0x84, 0x00, 0xFF};
    DecoderClient client(kDecoderChips[0]);
    client.expectSize(kWidth, kHeight);
    client.start();
    forgetLog();
    const Packets packets = {garbage, garbage, garbage, stream.configuration, stream.units[0], garbage};
    for (const Unit& packet : packets) {
        client.send(packet);
    }
    EXPECT_GE(client.finish().size(), 2u);
    EXPECT_EQ(loggedLines().size(), 2u);
    EXPECT_EQ(loggedCount("H264Decoder: no picture from a unit of 9 bytes"), 2);
}

}  // namespace
}  // namespace zem::test
