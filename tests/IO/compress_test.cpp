#include "internal/ioLzwSlots.h"
#include "ioBufferCompress.h"
#include "ioFilterTestHelpers.h"

#include <gtest/gtest.h>

#include <climits>
#include <map>

using ioTest::Filter;

namespace {

const std::vector<Filter> lzw = {Filter::compress};

// Reads a whole compressed section and the plain bytes behind it.
void expectRoundTrip(const std::string& payload, const std::string& trailer, const char* what)
{
    std::string bytes = ioTest::writeFiltered(lzw, payload, trailer);
    ioTest::FilteredRead read = ioTest::readFiltered(lzw, bytes, payload.size(), trailer.size() + 1);
    ASSERT_TRUE(read.status == ioStreamOk && read.payload == payload && read.endStatus == ioStreamEndOfSection
                && read.trailer == trailer)
        << what << " size " << payload.size() << " status " << read.status << " end " << read.endStatus;
}

// Codes packed as the coder packs them, after the magic: least significant bit first, from 9
// bits wide, one bit wider once the free code (258 + the codes so far, at most limit) passes
// the width; each width's last group of eight codes, and the last group, padded with zeros.
std::string packCodes(const std::vector<int32_t>& codes, int64_t limit = INT_MAX)
{
    std::string out = "\x1F\x9D\x90";
    uint64_t bits = 0;
    int count = 0, width = 9, inGroup = 0;
    auto put = [&](int32_t code) {
        bits |= static_cast<uint64_t>(code) << count;
        for (count += width; count >= 8; count -= 8, bits >>= 8)
            out += static_cast<char>(bits & 0xFF);
    };
    for (size_t i = 0; i < codes.size(); ++i) {
        put(codes[i]);
        inGroup = (inGroup + 1) % 8;
        const bool wider = std::min<int64_t>(258 + static_cast<int64_t>(i), limit) > (1 << width) - 1;
        if (wider || i + 1 == codes.size()) {
            for (; inGroup; inGroup = (inGroup + 1) % 8)
                put(0);
            width += wider;
        }
    }
    return out;
}

ioStreamStatus decodeStatus(const std::string& bytes, std::string* decoded = nullptr)
{
    qvTest::MemoryInput in(bytes);
    in.compress(true);
    std::string out;
    char area[4096];
    for (int n; (n = in.readData(area, sizeof area)) > 0;)
        out.append(area, static_cast<size_t>(n));
    if (decoded)
        *decoded = out;
    return in.getStatus();
}

} // namespace

TEST(Compress, WritesTheClassicLayoutWithItsEndCodeAndWholeGroups)
{
    // "aaa": the literal 97, the code 258 for "aa", the end code, padded to a group of 9 bytes.
    EXPECT_EQ(ioTest::writeFiltered(lzw, "aaa"), std::string("\x1F\x9D\x90\x61\x04\x06\x04\0\0\0\0\0", 12));
    // Kept: an empty section still writes its final codes (0 and the end code), but no magic.
    EXPECT_EQ(ioTest::writeFiltered(lzw, ""), std::string("\0\x02\x02\0\0\0\0\0\0", 9));
    std::string text;
    while (text.size() < 5000)
        text += "node mesh material 0.25 ";
    std::string bytes = ioTest::writeFiltered(lzw, text);
    EXPECT_EQ(bytes.substr(0, 3), "\x1F\x9D\x90");
    EXPECT_LT(bytes.size(), text.size() / 5);
}

TEST(Compress, EverySizeRoundTripsAndThePlainBytesBehindItFollow)
{
    const std::string trailer = "plain bytes after the section\n";
    std::string mixed = ioTest::mixedData(3000, 1), noise = ioTest::randomData(3000, 2), run(3000, 'x');
    for (size_t size = 1; size <= 3000; size += size < 300 ? 1 : 53) {
        expectRoundTrip(mixed.substr(0, size), trailer, "mixed");
        expectRoundTrip(noise.substr(0, size), trailer, "random");
        expectRoundTrip(run.substr(0, size), trailer, "run");
    }
}

TEST(Compress, StaysInStepAcrossClearsWidthChangesAndSections)
{
    // Random data fills the table and then clears every few checks, since the ratio does not
    // improve; text between the noise makes strings long again before the next clear.
    std::string data;
    for (unsigned part = 0; part < 6; ++part)
        data += part % 2 ? ioTest::mixedData(150000, part) : ioTest::randomData(120000, part);
    expectRoundTrip(data, "tail", "noise and text");
    // Written one byte at a time, the same bytes come out of the coder.
    std::string bytes;
    {
        qvTest::MemoryOutput out(bytes);
        out.compress(true);
        for (size_t i = 0; i < 20000; ++i)
            out.writeChar(data[i]);
        out.compress(false);
        out.close();
    }
    EXPECT_TRUE(bytes == ioTest::writeFiltered(lzw, data.substr(0, 20000)));

    // Compressed, plain, compressed, plain in one stream.
    std::vector<std::string> parts = {ioTest::mixedData(10000, 4), "between\n", ioTest::randomData(5000, 5), "after\n"};
    bytes.clear();
    qvTest::MemoryOutput out(bytes);
    for (size_t i = 0; i < parts.size(); ++i) {
        out.compress(i % 2 == 0);
        out.writeData(parts[i].data(), static_cast<int>(parts[i].size()));
        out.compress(false);
    }
    out.close();
    qvTest::MemoryInput in(bytes);
    for (size_t i = 0; i < parts.size(); ++i) {
        in.compress(i % 2 == 0);
        std::string got(parts[i].size() + (i % 2 == 0), '\0');
        // A section reports its end on the read after its last byte; popping it clears that.
        EXPECT_EQ(in.readData(&got[0], static_cast<int>(got.size())), static_cast<int>(parts[i].size())) << i;
        EXPECT_TRUE(got.substr(0, parts[i].size()) == parts[i]) << i;
        EXPECT_EQ(in.getStatus(), i % 2 == 0 ? ioStreamEndOfSection : ioStreamOk) << i;
        in.compress(false);
        EXPECT_TRUE(in.good()) << i;
    }
    in.readChar();
    EXPECT_EQ(in.getStatus(), ioStreamEOF);
}

TEST(Compress, KeysCrowdedAroundOneSlotAreStillFound)
{
    // A run of 'a' defines the code 256 + j for the string of j 'a's.
    const int longest = 1300;
    std::string data(longest * (longest + 3) / 2, 'a');
    // Then "s a^m c" adds the key (code of a^j, c): the first m - j 'a's after the separator s
    // extend the strings that earlier uses of s started. Pick keys whose home slot lies in a
    // window of 512 slots, more than 511 + 512 of them: by counting, some key cannot sit within
    // the 511 slots after its home that a slot can record, and goes to the spill table.
    const uint32_t first = 70000, window = 512;
    int uses[256] = {};
    unsigned char separator = 'b';
    std::string segments;
    for (int j = 2; j < longest - 8; ++j) {
        for (int c = 0; c < 256; ++c) {
            const uint32_t key = static_cast<uint32_t>(256 + j) << 8 | static_cast<uint32_t>(c);
            if (c == 'a' || io::internal::lzwHomeSlot(key) - first >= window)
                continue;
            segments += static_cast<char>(separator);
            segments.append(static_cast<size_t>(j + uses[separator]++), 'a');
            separator = static_cast<unsigned char>(c);
        }
    }
    // Twice: the second time, the coder searches again for keys it spilled and must find them.
    data += segments + static_cast<char>(separator) + segments;

    // The codes of plain LZW over a map (no clear happens: the table never fills).
    std::map<uint32_t, int32_t> codes;
    std::vector<int32_t> written;
    int32_t next = 258;
    uint32_t ent = static_cast<unsigned char>(data[0]);
    for (size_t i = 1; i < data.size(); ++i) {
        const uint32_t key = ent << 8 | static_cast<unsigned char>(data[i]);
        auto found = codes.find(key);
        if (found != codes.end()) {
            ent = static_cast<uint32_t>(found->second);
        } else {
            written.push_back(static_cast<int32_t>(ent));
            codes[key] = next++;
            ent = static_cast<unsigned char>(data[i]);
        }
    }
    written.push_back(static_cast<int32_t>(ent));
    written.push_back(static_cast<int32_t>(ioBufferCompress::endCode));
    ASSERT_LT(next, 32768);
    size_t crowded = 0;
    for (const auto& entry : codes)
        crowded += io::internal::lzwHomeSlot(entry.first) - first < window;
    ASSERT_GT(crowded, 511 + window);

    std::string bytes = ioTest::writeFiltered(lzw, data, "end");
    EXPECT_TRUE(bytes == packCodes(written, next) + "end");
    ioTest::FilteredRead read = ioTest::readFiltered(lzw, bytes, data.size(), 3);
    EXPECT_EQ(read.status, ioStreamOk);
    EXPECT_TRUE(read.payload == data);
    EXPECT_EQ(read.trailer, "end");
}

TEST(Compress, DamagedInputEndsInAnErrorStatus)
{
    std::string data = ioTest::mixedData(20000, 11);
    std::string good = ioTest::writeFiltered(lzw, data);
    ASSERT_EQ(decodeStatus(good), ioStreamEndOfSection);

    // Magic: a wrong third byte fails before any data; so does an empty or too short input.
    std::string bad = good, decoded;
    bad[2] = '\x10';
    EXPECT_EQ(decodeStatus(bad, &decoded), ioStreamIOError);
    EXPECT_TRUE(decoded.empty());
    EXPECT_EQ(decodeStatus(""), ioStreamIOError);
    EXPECT_EQ(decodeStatus("\x1F\x9D"), ioStreamIOError);

    // Cut anywhere: the section must end with its end code, so every cut is an error, and what
    // was decoded before it is a prefix of the data.
    for (size_t cut = 3; cut < good.size(); cut += cut < 200 ? 1 : 61) {
        ASSERT_EQ(decodeStatus(good.substr(0, cut), &decoded), ioStreamIOError) << cut;
        ASSERT_EQ(data.compare(0, decoded.size(), decoded), 0) << cut;
    }

    // Forged codes: a first code above 255, a clear first, a code beyond the next free code, a
    // clear followed by a code that is not a literal, a stream that stops mid-group; then the
    // same shapes made valid: the code being defined, and a literal after a clear.
    const struct {
        std::vector<int32_t> codes;
        const char* decoded; // null: an error
    } forged[] = {
        {{300, 257}, nullptr},
        {{256}, nullptr},
        {{65, 259, 257}, nullptr},
        {{65, 256, 0, 0, 0, 0, 0, 0, 258, 257}, nullptr},
        {{65, 258, 257}, "AAA"},
        {{65, 256, 0, 0, 0, 0, 0, 0, 66, 257}, "AB"},
    };
    for (const auto& f : forged) {
        EXPECT_EQ(decodeStatus(packCodes(f.codes), &decoded), f.decoded ? ioStreamEndOfSection : ioStreamIOError);
        if (f.decoded) {
            EXPECT_EQ(decoded, f.decoded);
        }
    }
    EXPECT_EQ(decodeStatus(packCodes({65, 66}).substr(0, 6)), ioStreamIOError);

    // A chain of self-referencing codes: every code is the one being defined, so strings grow by
    // one each time, past the 8000 bytes of the classic stack, then the end code.
    std::vector<int32_t> chain = {0};
    for (int32_t code = 258; code < 8600; ++code)
        chain.push_back(code);
    chain.push_back(static_cast<int32_t>(ioBufferCompress::endCode));
    EXPECT_EQ(decodeStatus(packCodes(chain), &decoded), ioStreamEndOfSection);
    EXPECT_EQ(decoded.size(), 8343u * 8344u / 2u);
    EXPECT_EQ(decoded.find_first_not_of('\0'), std::string::npos);
}
