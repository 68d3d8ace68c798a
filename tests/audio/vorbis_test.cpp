// The Vorbis codecs against the library called directly, against an independent player, and against damage.
#include <gtest/gtest.h>
#include <unistd.h>
#include <vorbis/vorbisenc.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <random>

#include "audio/vorbis_decoder.h"
#include "audio/vorbis_encoder.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/log_capture.h"

namespace {

using zem::test::forgetLog;
using zem::test::logged;
using zem::test::loggedCount;
using Bytes = std::vector<uint8_t>;

constexpr int kRate = 44100;

void append(Bytes& to, const void* data, long size) {
    to.insert(to.end(), static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + size);
}

void append(Bytes& to, const ogg_page& page) {
    append(to, page.header, page.header_len);
    append(to, page.body, page.body_len);
}

/// Interleaved stereo: 440 Hz left, 660 Hz right.
Bytes tone(int frames) {
    Bytes pcm;
    for (int i = 0; i < 2 * frames; ++i) {
        const double turns = 220.0 * (2 + i % 2) * (i / 2) / kRate;  // NOLINT(bugprone-integer-division)
        const auto sample = static_cast<int16_t>(12000 * std::sin(2 * M_PI * turns));
        append(pcm, &sample, 2);
    }
    return pcm;
}

/// The frequency of the first of `channels`, by its zero crossings.
double frequencyOf(const Bytes& pcm, int channels) {
    std::vector<double> crossings;
    int16_t before = 0;
    for (size_t i = 8192; (i + 1) * channels * 2 <= pcm.size(); ++i) {
        int16_t now = 0;
        memcpy(&now, &pcm[i * channels * 2], 2);
        if (before < 0 && now >= 0) {
            crossings.push_back(static_cast<double>(i) - static_cast<double>(now) / (now - before));
        }
        before = now;
    }
    return crossings.size() < 2
               ? 0
               : static_cast<double>(crossings.size() - 1) * kRate / (crossings.back() - crossings[0]);
}

/// The library as the wire format wants it, without the engine's set-up.
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
        vorbis_comment_init(&vc);
        vorbis_comment_add_tag(&vc, "KIV", "KIV");
        vorbis_analysis_init(&vd, &vi);
        vorbis_block_init(&vd, &vb);
        EXPECT_EQ(0, vorbis_analysis_headerout(&vd, &vc, &headers[0], &headers[1], &headers[2]));
        ogg_stream_init(&os, 12345678);
    }

    void encode(const uint8_t* pcm, int frames, Bytes& pages) {
        float** const to = vorbis_analysis_buffer(&vd, frames);
        for (int c = 0; c < vi.channels; ++c) {
            for (int i = 0; i < frames; ++i) {
                int16_t sample = 0;
                memcpy(&sample, pcm + i * 4 + (c & 1) * 2, 2);
                to[c][i] = c < 2 ? static_cast<float>(sample) / 32768.0F : 0.0F;
            }
        }
        vorbis_analysis_wrote(&vd, frames);
        ogg_packet packet;
        ogg_page page;
        while (vorbis_analysis_blockout(&vd, &vb) == 1) {
            vorbis_analysis(&vb, nullptr);
            vorbis_bitrate_addblock(&vb);
            while (vorbis_bitrate_flushpacket(&vd, &packet) == 1) {
                ogg_stream_packetin(&os, &packet);
                while (ogg_stream_pageout_fill(&os, &page, 1000) != 0) {
                    append(pages, page);
                }
            }
        }
    }
};

std::vector<Bytes> pagesOf(const Bytes& bytes) {
    zem::OggSync sync;
    memcpy(ogg_sync_buffer(&sync, static_cast<long>(bytes.size())), bytes.data(), bytes.size());
    ogg_sync_wrote(&sync, static_cast<long>(bytes.size()));
    std::vector<Bytes> pages;
    for (ogg_page page; ogg_sync_pageout(&sync, &page) == 1;) {
        append(pages.emplace_back(), page);
    }
    return pages;
}

ogg_page pageAt(Bytes& bytes) {
    const long head = 27 + bytes[26];
    return {bytes.data(), head, bytes.data() + head, static_cast<long>(bytes.size()) - head};
}

void forEachPacket(const Bytes& pages, const std::function<void(ogg_packet&)>& take) {
    zem::OggStream stream;
    ogg_stream_init(&stream, 12345678);
    for (Bytes& bytes : pagesOf(pages)) {
        ogg_page page = pageAt(bytes);
        EXPECT_EQ(0, ogg_stream_pagein(&stream, &page));
        for (ogg_packet packet; ogg_stream_packetout(&stream, &packet) != 0;) {
            take(packet);
        }
    }
}

/// A file in its own right: the headers in two pages, then the packets of `pages` in new ones.
Bytes fileOf(const Bytes& pages) {
    Library library(2);
    zem::OggStream stream;
    ogg_stream_init(&stream, 12345678);
    Bytes file;
    ogg_page page;
    for (int n = 0; n < 3; ++n) {
        ogg_stream_packetin(&stream, &library.headers[n]);
        while (n != 1 && ogg_stream_flush(&stream, &page) != 0) {
            append(file, page);
        }
    }
    forEachPacket(pages, [&](ogg_packet& packet) {
        packet.b_o_s = 0;
        ogg_stream_packetin(&stream, &packet);
        while (ogg_stream_pageout(&stream, &page) != 0) {
            append(file, page);
        }
    });
    return file;
}

Bytes decodedByLibrary(const Bytes& pages) {
    Library library(2);
    zem::VorbisInfo vi;
    zem::VorbisComment vc;
    zem::VorbisDsp vd;
    zem::VorbisBlock vb;
    vorbis_info_init(&vi);
    for (ogg_packet& header : library.headers) {
        EXPECT_EQ(0, vorbis_synthesis_headerin(&vi, &vc, &header));
    }
    vorbis_synthesis_init(&vd, &vi);
    vorbis_block_init(&vd, &vb);
    Bytes pcm;
    forEachPacket(pages, [&](ogg_packet& packet) {
        EXPECT_EQ(0, vorbis_synthesis(&vb, &packet));
        vorbis_synthesis_blockin(&vd, &vb);
        float** from = nullptr;
        const int frames = vorbis_synthesis_pcmout(&vd, &from);
        for (int i = 0; i < 2 * frames; ++i) {
            const int16_t sample = zem::pcm16(from[i % 2][i / 2]);
            append(pcm, &sample, 2);
        }
        vorbis_synthesis_read(&vd, frames);
    });
    return pcm;
}

Bytes fetched(VorbisEncoder& encoder) {
    Bytes bytes(1 << 20);
    bytes.resize(encoder.getData(bytes.data(), 1 << 20));
    return bytes;
}

/// Everything that a fetch of at most `room` bytes at a time gives.
Bytes fetched(VorbisDecoder& decoder, int room = 1 << 20) {
    Bytes pcm;
    Bytes piece(room);
    for (int n = 0; (n = decoder.getData(piece.data(), room)) > 0;) {
        append(pcm, piece.data(), n);
    }
    return pcm;
}

Bytes decoded(VorbisDecoder& decoder, Bytes bytes) {
    EXPECT_EQ(0, decoder.decode(bytes.data(), static_cast<int>(bytes.size())));
    return fetched(decoder);
}

/// A second of the tone as the engine sends it.
const Bytes& second() {
    static const Bytes pages = [] {
        VorbisEncoder encoder;
        EXPECT_EQ(1, encoder.init(2, kRate, 0));
        Bytes pcm = tone(kRate);
        EXPECT_EQ(0, encoder.encode(pcm.data(), static_cast<int>(pcm.size())));
        return fetched(encoder);
    }();
    return pages;
}

bool sameEnd(const Bytes& a, const Bytes& b) {
    return a.size() > 16384 && b.size() > 16384 && std::equal(a.end() - 16384, a.end(), b.end() - 16384);
}

// Another bit rate, serial, page size, scale or channel order would part old and new peers. Samples behind
// the end must change nothing, and a second set-up must start over.
TEST(Vorbis, PagesAreTheLibrarysByteForByte) {
    Bytes pcm = tone(60000);
    for (const int channels : {1, 2, 3}) {
        VorbisEncoder encoder;
        EXPECT_EQ(1, encoder.init(2, 32000, 9));
        encoder.encode(pcm.data(), 4000);
        EXPECT_EQ(1, encoder.init(channels, kRate, 1));
        Library library(channels);
        Bytes ours;
        Bytes theirs;
        for (int at = 0, block = 1; at < 60000; at += block, block = std::min(block * 3 + 1, 60000 - at)) {
            EXPECT_EQ(0, encoder.encode(&pcm[at * 4], block * 4 + block % 4));
            const Bytes pages = fetched(encoder);
            append(ours, pages.data(), static_cast<long>(pages.size()));
            library.encode(&pcm[at * 4], block, theirs);
        }
        EXPECT_EQ(0, encoder.encode(pcm.data(), 3));
        EXPECT_EQ(0, encoder.encode(pcm.data(), 40000));
        const Bytes last = fetched(encoder);
        append(ours, last.data(), static_cast<long>(last.size()));
        library.encode(nullptr, 0, theirs);
        EXPECT_EQ(theirs, ours) << channels;
        Bytes lastPage = pagesOf(ours).back();
        const ogg_page page = pageAt(lastPage);
        EXPECT_NE(0, ogg_page_eos(&page));
    }
}

// What an independent decoder hears, without a warning: the tone, as our own and the library's decoder have
// it.
TEST(Vorbis, EveryDecoderHearsTheTone) {
    VorbisDecoder decoder;
    ASSERT_EQ(1, decoder.init(2, kRate, 0));
    EXPECT_EQ(kRate, decoder.getSamplingRate());
    EXPECT_EQ(2, decoder.getChannelCount());
    const Bytes pcm = decoded(decoder, second());
    EXPECT_EQ(decodedByLibrary(second()), pcm);
    EXPECT_NEAR(440, frequencyOf(pcm, 2), 1);

    VorbisDecoder inBand;
    Bytes file = fileOf(second());
    inBand.decode(file.data(), static_cast<int>(file.size()));
    EXPECT_EQ(0, inBand.decodeHeader());
    const Bytes fromFile = fetched(inBand);
    EXPECT_GT(fromFile.size(), pcm.size() / 2);
    EXPECT_TRUE(std::equal(fromFile.begin(), fromFile.end(), pcm.begin()));
    EXPECT_EQ(-1, inBand.decodeHeader());
    EXPECT_TRUE(logged(6, "VorbisDecoder Input does not appear to be an Ogg bitstream.\n"));

    char name[] = "/tmp/vorbis_test.XXXXXX";
    close(mkstemp(name));
    std::ofstream(name).write(reinterpret_cast<const char*>(file.data()), static_cast<long>(file.size()));
    const std::string player = "command -v ffmpeg >&2 && ffmpeg -nostdin -v warning -f ogg -i " +
                               std::string(name) + " -f s16le - 2>" + name + ".log";
    FILE* const heard = popen(player.c_str(), "r");
    Bytes theirs(1 << 20);
    theirs.resize(fread(theirs.data(), 1, theirs.size(), heard));
    const int status = pclose(heard);
    const std::string warnings{
        std::istreambuf_iterator<char>(std::ifstream(std::string(name) + ".log").rdbuf()), {}};
    unlink(name);
    unlink((std::string(name) + ".log").c_str());
    if (status != 0 && warnings.empty()) {
        GTEST_SKIP() << "no ffmpeg here";
    }
    EXPECT_EQ("", warnings);
    EXPECT_EQ(fromFile.size(), theirs.size());
    EXPECT_NEAR(440, frequencyOf(theirs, 2), 1);
}

// A buffer that is too small costs the encoder one page and the decoder nothing.
TEST(Vorbis, SmallBuffers) {
    forgetLog();
    VorbisEncoder encoder;
    ASSERT_EQ(1, encoder.init(2, kRate, 0));
    Bytes pcm = tone(kRate);
    encoder.encode(pcm.data(), static_cast<int>(pcm.size()));
    zem::test::GuardedBuffer out(pagesOf(second())[0].size() - 1);
    EXPECT_EQ(0, encoder.getData(out.data(), static_cast<int>(out.bytes().size())));
    EXPECT_TRUE(logged(6, "VorbisEncoder vorbis encoder buffer is too small.."));
    EXPECT_EQ(1, pagesOf(fetched(encoder))[0][18]);  // the number of the first page that came through

    VorbisDecoder decoder;
    ASSERT_EQ(1, decoder.init(2, kRate, 0));
    const Bytes whole = decoded(decoder, second());
    ASSERT_EQ(1, decoder.init(2, kRate, 0));
    Bytes got;
    for (Bytes& page : pagesOf(second())) {
        decoder.decode(page.data(), static_cast<int>(page.size()));
        EXPECT_EQ(0, decoder.getData(out.data(), 3));
        const Bytes more = fetched(decoder, 10000);
        append(got, more.data(), static_cast<long>(more.size()));
    }
    EXPECT_EQ(whole, got);
    EXPECT_TRUE(
        logged(4,
               "VorbisDecoder audio bufer is running short...return now...written = 0, current sample "
               "size = 512, bufsize=3\n"));
}

// Refused set-ups leave objects that do nothing, and can be set up again; refused input takes nothing.
TEST(Vorbis, Refusals) {
    constexpr int kRefused[][2] = {{1, 8000},    {1, 11025},       {1, 22050}, {1, 96000},
                                   {2, 8000},    {2, 96000},       {0, kRate}, {-1, kRate},
                                   {256, kRate}, {1 << 30, kRate}, {2, 0},     {2, -1}};
    VorbisEncoder encoder;
    VorbisDecoder decoder;
    uint8_t bytes[16]{};
    for (const auto& [channels, rate] : kRefused) {
        forgetLog();
        EXPECT_EQ(0, encoder.init(channels, rate, 0)) << channels << ' ' << rate;
        EXPECT_EQ(0, decoder.init(channels, rate, 0));
        EXPECT_EQ(1, loggedCount("VorbisEncoder vorbis_encode_init_vbr return -13"));
        EXPECT_EQ(1, loggedCount("VorbisDecoder vorbis_encode_init_vbr return -13"));
        EXPECT_EQ(2, loggedCount("VorbisDecoder vorbis_encode_init CBR"));
        EXPECT_EQ(-1, encoder.encode(bytes, 16));
        EXPECT_EQ(0, encoder.getData(bytes, 16));
        EXPECT_EQ(0, decoder.decode(bytes, 16));
        EXPECT_EQ(0, decoder.getData(bytes, 16));
        EXPECT_EQ(-1, decoder.getSamplingRate());
        EXPECT_EQ(-1, decoder.getChannelCount());
    }
    ASSERT_EQ(1, encoder.init(2, kRate, 0));
    ASSERT_EQ(1, decoder.init(2, kRate, 0));
    Bytes pcm = tone(kRate);
    for (const int size : {-1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_EQ(-1, encoder.encode(bytes, size));
        EXPECT_EQ(0, decoder.decode(bytes, size));
    }
    EXPECT_EQ(-1, encoder.encode(nullptr, 16));
    EXPECT_EQ(0, decoder.decode(nullptr, 16));
    EXPECT_EQ(0, encoder.encode(pcm.data(), static_cast<int>(pcm.size())));
    EXPECT_EQ(second(), fetched(encoder));
    int seconds = 0;
    while (encoder.encode(pcm.data(), static_cast<int>(pcm.size())) == 0) {
        ASSERT_LT(++seconds, 60);
    }
    EXPECT_TRUE(sameEnd(decoded(decoder, second()), decodedByLibrary(second())));
}

// Whatever comes in, sound goes on with the next good page, and what waits stays bounded.
TEST(Vorbis, DamageIsSkipped) {
    const Bytes whole = decodedByLibrary(second());
    const struct {
        const char* what;
        std::function<void(std::vector<Bytes>&)> damage;
    } cases[] = {
        {"truncated", [](auto& pages) { pages[3].resize(400); }},
        {"flipped", [](auto& pages) { pages[3][300] ^= 1; }},
        {"lost", [](auto& pages) { pages[3].clear(); }},
        {"swapped", [](auto& pages) { std::swap(pages[3], pages[4]); }},
        {"noise", [](auto& pages) { pages[3].insert(pages[3].end(), 70000, 'O'); }},
        {"endless packet",
         [](auto& pages) {
             for (int n = 0; n < 40; ++n) {
                 Bytes page{'O',
                            'g',
                            'g',
                            'S',
                            0,
                            n != 0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0x4e,
                            0x61,
                            0xbc,
                            0,
                            static_cast<uint8_t>(n)};
                 page.resize(26);
                 page.insert(page.end(), 1 + 255 + 255 * 255, 255);
                 ogg_page view = pageAt(page);
                 ogg_page_checksum_set(&view);
                 pages[3].insert(pages[3].end(), page.begin(), page.end());
             }
         }},
        {"foreign serial",
         [](auto& pages) {
             pages[3][14] ^= 1;
             ogg_page view = pageAt(pages[3]);
             ogg_page_checksum_set(&view);
         }},
    };
    for (const auto& [what, damage] : cases) {
        forgetLog();
        VorbisDecoder decoder;
        ASSERT_EQ(1, decoder.init(2, kRate, 0));
        std::vector<Bytes> pages = pagesOf(second());
        damage(pages);
        Bytes pcm;
        for (const Bytes& page : pages) {
            const Bytes more = decoded(decoder, page);
            append(pcm, more.data(), static_cast<long>(more.size()));
        }
        EXPECT_TRUE(sameEnd(whole, pcm)) << what;
        EXPECT_LE(pcm.size(), whole.size()) << what;
        EXPECT_GT(loggedCount("missing"), 0) << what;
        EXPECT_EQ(loggedCount("dropped a packet"), std::string(what) == "endless packet" ? 1 : 0);
    }

    VorbisDecoder decoder;
    ASSERT_EQ(1, decoder.init(2, kRate, 0));
    std::mt19937 random(1);
    for (int round = 0; round < 60; ++round) {
        Bytes bytes = second();
        for (uint32_t hits = random() % 40; hits > 0; --hits) {
            bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
        }
        bytes.resize(random() % bytes.size());
        decoder.decode(bytes.data(), static_cast<int>(bytes.size()));
        if (round % 3 == 0) {
            fetched(decoder, 1 + static_cast<int>(random() % 20000));
        }
    }
    Bytes silence(1 << 20);
    forgetLog();
    for (int n = 0; n < 10; ++n) {
        decoder.decode(silence.data(), 1 << 20);
    }
    EXPECT_GE(loggedCount("dropped"), 6);
    while (!fetched(decoder).empty()) {
    }
    EXPECT_TRUE(sameEnd(whole, decoded(decoder, second())));
}

TEST(Vorbis, SamplesAreRoundedAndClipped) {
    constexpr float kHuge = std::numeric_limits<float>::infinity();
    const std::pair<float, int> cases[] = {{1, 32767},       {-1, -32767},      {0.5F, 16384},
                                           {1.5F, 32767},    {-1.5F, -32768},   {kHuge, 32767},
                                           {-kHuge, -32768}, {std::nanf(""), 0}};
    for (const auto& [sample, pcm] : cases) {
        EXPECT_EQ(pcm, zem::pcm16(sample)) << sample;
    }
}

}  // namespace
