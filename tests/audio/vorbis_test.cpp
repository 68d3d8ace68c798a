// The Vorbis codecs against the library called directly, an independent player, and damage.
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>
#include <vorbis/vorbisenc.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <random>

#include "audio/vorbis_decoder.h"
#include "audio/vorbis_encoder.h"
#include "tests/support/log_capture.h"

namespace {

using zem::test::loggedCount;
using Bytes = std::vector<uint8_t>;

constexpr int kRate = 44100;

Bytes& operator+=(Bytes& to, const Bytes& more) {
    to.insert(to.end(), more.begin(), more.end());
    return to;
}

Bytes bytesOf(const ogg_page& page) {
    Bytes bytes(page.header, page.header + page.header_len);
    return bytes += Bytes(page.body, page.body + page.body_len);
}

/// Makes a changed page whole again.
Bytes sealed(Bytes bytes) {
    const long head = 27 + bytes[26];
    ogg_page page{bytes.data(), head, bytes.data() + head, static_cast<long>(bytes.size()) - head};
    ogg_page_checksum_set(&page);
    return bytes;
}

std::vector<Bytes> pagesOf(const Bytes& bytes) {
    zem::OggSync sync;
    memcpy(ogg_sync_buffer(&sync, static_cast<long>(bytes.size())), bytes.data(), bytes.size());
    ogg_sync_wrote(&sync, static_cast<long>(bytes.size()));
    std::vector<Bytes> pages;
    for (ogg_page page; ogg_sync_pageout(&sync, &page) == 1;) {
        pages.push_back(bytesOf(page));
    }
    return pages;
}

/// A second of interleaved stereo: 440 Hz left, 660 Hz right.
Bytes tone() {
    Bytes pcm;
    for (int i = 0; i < 2 * kRate; ++i) {
        const int sample =
            static_cast<int>(12000 * std::sin(M_PI * (i % 2 == 0 ? 440 : 660) * (i - i % 2) / kRate));
        pcm += {static_cast<uint8_t>(sample), static_cast<uint8_t>(sample >> 8)};
    }
    return pcm;
}

int sampleOf(const Bytes& pcm, size_t at) {
    return static_cast<int16_t>(pcm[2 * at] | pcm[2 * at + 1] << 8);
}

/// The library as the wire format wants it.
struct Library {
    zem::VorbisInfo vi;
    zem::VorbisComment vc;
    zem::VorbisDsp vd;
    zem::VorbisBlock vb;
    zem::OggStream os;
    ogg_packet headers[3]{};

    explicit Library(int channels) {
        vorbis_info_init(&vi);
        EXPECT_EQ(0, vorbis_encode_init(&vi, channels, kRate, -1, 100000, 90000));
        zem::makeVorbisHeaders(&vi, &vc, &vd, &vb, &headers[0], &headers[1], &headers[2], "test");
        ogg_stream_init(&os, 12345678);
    }

    Bytes encode(const Bytes& pcm, int at, int frames) {
        float** const to = vorbis_analysis_buffer(&vd, frames);
        for (int i = 0; i < frames * vi.channels; ++i) {
            const int c = i % vi.channels;
            const int frame = i / vi.channels;
            to[c][frame] =
                c < 2 ? static_cast<float>(sampleOf(pcm, size_t{2} * (at + frame) + c)) / 32768.0F : 0.0F;
        }
        vorbis_analysis_wrote(&vd, frames);
        Bytes pages;
        ogg_packet packet;
        ogg_page page;
        while (vorbis_analysis_blockout(&vd, &vb) == 1) {
            vorbis_analysis(&vb, nullptr);
            vorbis_bitrate_addblock(&vb);
            while (vorbis_bitrate_flushpacket(&vd, &packet) == 1) {
                ogg_stream_packetin(&os, &packet);
                while (ogg_stream_pageout_fill(&os, &page, 1000) != 0) {
                    pages += bytesOf(page);
                }
            }
        }
        return pages;
    }
};

template <typename Codec>
Bytes fetched(Codec& codec, int room = 1 << 20) {
    Bytes bytes(room);
    bytes.resize(codec.getData(bytes.data(), room));
    return bytes;
}

Bytes decoded(VorbisDecoder& decoder, Bytes bytes) {
    EXPECT_EQ(0, decoder.decode(bytes.data(), static_cast<int>(bytes.size())));
    return fetched(decoder);
}

/// The tone as the engine sends it.
const Bytes& stream() {
    static const Bytes bytes = [] {
        VorbisEncoder encoder;
        EXPECT_EQ(1, encoder.init(2, kRate, 0));
        EXPECT_EQ(0, encoder.encode(tone().data(), 4 * kRate));
        return fetched(encoder);
    }();
    return bytes;
}

// Another bit rate, serial, page size, scale or channel order would part old and new peers. Samples behind
// the end must change nothing, a second set-up must start over, and a third channel must be silent, whatever
// the library's fresh memory holds.
TEST(Vorbis, PagesAreTheLibrarysByteForByte) {
    mallopt(M_PERTURB, 0xC0);  // fills it with 3F3F3F3F, which is 0.75
    Bytes pcm = tone();
    for (const int channels : {1, 2, 3}) {
        VorbisEncoder encoder;
        EXPECT_EQ(1, encoder.init(2, 32000, 9));
        encoder.encode(pcm.data(), 4000);
        EXPECT_EQ(1, encoder.init(channels, kRate, 1));
        Library library(channels);
        for (int at = 0, block = 1; at < kRate; at += block, block = std::min(block * 3 + 1, kRate - at)) {
            EXPECT_EQ(0, encoder.encode(&pcm[size_t{4} * at], block * 4 + (at == 0 ? 3 : 0)));
            EXPECT_EQ(library.encode(pcm, at, block), fetched(encoder)) << channels << " at " << at;
        }
        EXPECT_EQ(0, encoder.encode(pcm.data(), 3));
        EXPECT_EQ(0, encoder.encode(pcm.data(), 40000));
        EXPECT_EQ(0, encoder.encode(pcm.data(), 0));
        const Bytes end = fetched(encoder);
        ASSERT_EQ(library.encode(pcm, 0, 0), end);
        EXPECT_EQ(4, pagesOf(end).back()[5]);  // end of stream
    }
    mallopt(M_PERTURB, 0);
}

// With the headers before them, the pages make a file that an independent player decodes without a warning,
// to what our decoder makes of the bare pages: the tone.
TEST(Vorbis, APlayerHearsTheSame) {
    Library library(2);
    Bytes file;
    ogg_page page;
    for (int n = 0; n < 3; ++n) {
        ogg_stream_packetin(&library.os, &library.headers[n]);
        while (n != 1 && ogg_stream_flush(&library.os, &page) != 0) {
            file += bytesOf(page);
        }
    }
    for (Bytes& audio : pagesOf(stream())) {
        audio[5] &= ~2;  // begin of stream: the headers' now
        audio[18] += 2;  // page number
        file += sealed(audio);
    }
    VorbisDecoder decoder;
    VorbisDecoder inBand;
    EXPECT_EQ(1, decoder.init(2, kRate, 0));
    EXPECT_EQ(0U, decoded(inBand, file).size());
    EXPECT_EQ(0, inBand.decodeHeader());
    const Bytes ours = decoded(decoder, stream());
    EXPECT_EQ(ours, fetched(inBand));

    char name[] = "/tmp/vorbis_test.XXXXXX";
    close(mkstemp(name));
    std::ofstream(name).write(reinterpret_cast<const char*>(file.data()), static_cast<long>(file.size()));
    const std::string player = "exec 2>&1; ffmpeg -v warning -f ogg -i " + std::string(name) + " -f s16le -";
    FILE* const heard = popen(player.c_str(), "r");
    Bytes theirs(1 << 20);
    theirs.resize(fread(theirs.data(), 1, theirs.size(), heard));
    const bool isMissing = pclose(heard) == 127 << 8;
    unlink(name);
    if (isMissing) {
        GTEST_SKIP() << "no ffmpeg here";
    }
    ASSERT_EQ(ours.size(), theirs.size());  // a warning would lengthen it
    const Bytes sent = tone();
    for (size_t i = 0; i < ours.size() / 2; ++i) {
        ASSERT_NEAR(sampleOf(ours, i), sampleOf(theirs, i), 1) << i;
        ASSERT_NEAR(sampleOf(ours, i), sampleOf(sent, i), 1500) << i;  // a tenth of a hertz away is too much
    }
}

// A buffer that is too small costs the encoder one page and the decoder nothing.
TEST(Vorbis, SmallBuffers) {
    VorbisEncoder encoder;
    VorbisDecoder whole;
    VorbisDecoder decoder;
    ASSERT_EQ(3, encoder.init(2, kRate, 0) + whole.init(2, kRate, 0) + decoder.init(2, kRate, 0));
    encoder.encode(tone().data(), kRate * 4);
    EXPECT_EQ(0U, fetched(encoder, static_cast<int>(pagesOf(stream())[0].size()) - 1).size());
    EXPECT_TRUE(zem::test::logged(6, "VorbisEncoder vorbis encoder buffer is too small.."));
    EXPECT_EQ(1, fetched(encoder)[18]);  // the number of the first page that came through
    Bytes got;
    std::vector<Bytes> pages = pagesOf(stream());
    for (Bytes& page : pages) {
        decoder.decode(page.data(), static_cast<int>(page.size()));
        // What a short call leaves of a page comes with the next one.
        EXPECT_EQ(0U, &page != &pages.back() ? fetched(decoder, 3).size() : 0);
        got += fetched(decoder);
    }
    EXPECT_EQ(decoded(whole, stream()), got);
    EXPECT_GT(loggedCount("bufer is running short...return now...written = 0, current sample size = "), 0);
}

// Refused set-ups leave objects that do nothing and can be set up again; refused input takes nothing.
TEST(Vorbis, Refusals) {
    constexpr int kRefused[][2] = {{1, 8000},    {1, 11025},       {1, 22050}, {1, 96000},
                                   {2, 8000},    {2, 96000},       {0, kRate}, {-1, kRate},
                                   {256, kRate}, {1 << 30, kRate}, {2, 0},     {2, -1}};
    VorbisEncoder encoder;
    VorbisDecoder decoder;
    Bytes pcm = tone();
    for (const auto& [channels, rate] : kRefused) {
        zem::test::forgetLog();
        EXPECT_EQ(0, encoder.init(channels, rate, 0) + decoder.init(channels, rate, 0))
            << channels << ' ' << rate;
        EXPECT_EQ(1, loggedCount("VorbisEncoder vorbis_encode_init_vbr return -13"));
        EXPECT_EQ(1, loggedCount("VorbisDecoder vorbis_encode_init_vbr return -13"));
        EXPECT_EQ(-1, encoder.encode(pcm.data(), 16));
        EXPECT_EQ(0U, fetched(encoder).size() + decoded(decoder, stream()).size());
        EXPECT_EQ(-2, decoder.getSamplingRate() + decoder.getChannelCount());
    }
    ASSERT_EQ(2, encoder.init(2, kRate, 0) + decoder.init(2, kRate, 0));
    for (const int size : {-1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_EQ(-1, encoder.encode(pcm.data(), size));
        EXPECT_EQ(0, decoder.decode(pcm.data(), size));
    }
    EXPECT_EQ(-1, encoder.encode(nullptr, 16));
    EXPECT_EQ(0, decoder.decode(nullptr, 16));
    EXPECT_EQ(0, encoder.encode(pcm.data(), kRate * 4));
    EXPECT_EQ(stream(), fetched(encoder));
    for (int n = 0; n < 60; ++n) {
        EXPECT_EQ(n < 47 ? 0 : -1, encoder.encode(pcm.data(), kRate * 4)) << n;  // nobody fetches
    }
}

// Whatever comes in, sound goes on with the next good pages, and what waits stays bounded.
TEST(Vorbis, DamageIsSkipped) {
    const auto endEqual = [](const Bytes& a, const Bytes& b) {
        return b.size() > 16384 && std::equal(a.end() - 16384, a.end(), b.end() - 16384);
    };
    const std::pair<const char*, std::function<void(std::vector<Bytes>&)>> cases[] = {
        {"VorbisDecoder Corrupt or missing data", [](auto& pages) { pages[3].resize(400); }},
        {"VorbisDecoder Corrupt or missing data", [](auto& pages) { pages[3].resize(70000, 'O'); }},
        {"VorbisDecoder missing or corrupt data", [](auto& pages) { std::swap(pages[3], pages[4]); }},
        {"VorbisDecoder missing or corrupt data",  // a foreign serial
         [](auto& pages) { pages[3][14] ^= 1, pages[3] = sealed(pages[3]); }},
        {"VorbisDecoder: dropped a packet",
         [](auto& pages) {
             for (uint8_t n = 0; n < 40; ++n) {
                 Bytes part(pages[2].begin(), pages[2].begin() + 26);
                 part[5] = n != 0;  // continued
                 part[18] = n;
                 part.resize(27 + 255 + 255 * 255, 255);
                 pages[3] += sealed(part);
             }
         }},
    };
    VorbisDecoder decoder;
    ASSERT_EQ(1, decoder.init(2, kRate, 0));
    const Bytes whole = decoded(decoder, stream());
    for (const auto& [log, damage] : cases) {
        ASSERT_EQ(1, decoder.init(2, kRate, 0));
        zem::test::forgetLog();
        std::vector<Bytes> pages = pagesOf(stream());
        damage(pages);
        Bytes bytes;
        for (const Bytes& page : pages) {
            bytes += page;
        }
        const Bytes pcm = decoded(decoder, bytes);
        EXPECT_TRUE(endEqual(whole, pcm) && pcm.size() <= whole.size() && loggedCount(log) > 0) << log;
    }
    std::mt19937 random(1);
    for (int round = 0; round < 60; ++round) {
        Bytes bytes = stream();
        for (uint32_t hits = random() % 40; hits > 0; --hits) {
            bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
        }
        decoder.decode(bytes.data(), static_cast<int>(random() % bytes.size()));
        fetched(decoder, static_cast<int>(random() % 20000));
    }
    Bytes nothing(1 << 20);
    for (int n = 0; n < 10; ++n) {
        decoder.decode(nothing.data(), 1 << 20);
    }
    EXPECT_GE(loggedCount("VorbisDecoder::decode: dropped 1048576 bytes"), 6);
    while (!fetched(decoder).empty()) {
    }
    EXPECT_TRUE(endEqual(whole, decoded(decoder, stream())));
}

TEST(Vorbis, SamplesAreRoundedAndClipped) {
    constexpr float kInfinite = std::numeric_limits<float>::infinity();
    const std::pair<float, int> cases[] = {{1, 32767},        {-1, -32767},       {0.5F, 16384},
                                           {-1.5F, -32768},   {kInfinite, 32767}, {-kInfinite, -32768},
                                           {std::nanf(""), 0}};
    for (const auto& [sample, pcm] : cases) {
        EXPECT_EQ(pcm, zem::pcm16(sample)) << sample;
    }
}

}  // namespace
