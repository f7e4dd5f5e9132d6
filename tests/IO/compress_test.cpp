#include "ioBufferCompress.h"
#include "ioFilterTestHelpers.h"

#include <gtest/gtest.h>

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

} // namespace

TEST(Compress, WritesTheClassicLayoutWithItsEndCodeAndWholeGroups)
{
    // "aaa": the literal 97, the code 258 for "aa", the end code, padded to a group of 9 bytes.
    EXPECT_EQ(ioTest::writeFiltered(lzw, "aaa"), std::string("\x1F\x9D\x90\x61\x04\x06\x04\0\0\0\0\0", 12));

    // Kept: an empty section still writes its final codes (0 and the end code), but no magic.
    EXPECT_EQ(ioTest::writeFiltered(lzw, ""), std::string("\0\x02\x02\0\0\0\0\0\0", 9));

    // Every longer section starts with the magic, and its length after it is whole groups.
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
    std::string mixed = ioTest::mixedData(3000, 1);
    std::string noise = ioTest::randomData(3000, 2);
    std::string run(3000, 'x');
    for (size_t size = 1; size <= 3000; size += size < 300 ? 1 : 53) {
        expectRoundTrip(mixed.substr(0, size), trailer, "mixed");
        expectRoundTrip(noise.substr(0, size), trailer, "random");
        expectRoundTrip(run.substr(0, size), trailer, "run");
    }
}

TEST(Compress, StaysInStepAcrossClearsAndWidthChanges)
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
        ioTest::MemoryOutput out(bytes);
        out.compress(true);
        for (size_t i = 0; i < 20000; ++i)
            out.writeChar(data[i]);
        out.compress(false);
        out.close();
    }
    EXPECT_TRUE(bytes == ioTest::writeFiltered(lzw, data.substr(0, 20000)));
}

TEST(Compress, SeveralSectionsInOneStream)
{
    // Compressed, plain, compressed, plain.
    std::vector<std::string> parts = {ioTest::mixedData(10000, 4), "between\n", ioTest::randomData(5000, 5), "after\n"};
    std::string bytes;
    ioTest::MemoryOutput out(bytes);
    for (size_t i = 0; i < parts.size(); ++i) {
        out.compress(i % 2 == 0);
        out.writeData(parts[i].data(), static_cast<int>(parts[i].size()));
        out.compress(false);
    }
    out.close();
    ASSERT_TRUE(out.good());
    ioTest::MemoryInput in(bytes);
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

namespace {

// Packs codes of the given widths least significant bit first, each group padded to its width.
std::string packCodes(const std::vector<std::pair<int, int>>& codes)
{
    std::string out = "\x1F\x9D\x90";
    uint64_t bits = 0;
    int count = 0;
    for (const auto& code : codes) {
        bits |= static_cast<uint64_t>(code.first) << count;
        count += code.second;
        while (count >= 8) {
            out += static_cast<char>(bits & 0xFF);
            bits >>= 8;
            count -= 8;
        }
    }
    if (count > 0)
        out += static_cast<char>(bits & 0xFF);
    return out;
}

ioStreamStatus decodeStatus(const std::string& bytes, std::string* decoded = nullptr)
{
    ioTest::MemoryInput in(bytes);
    in.compress(true);
    std::string out;
    char area[4096];
    int n;
    while ((n = in.readData(area, sizeof area)) > 0)
        out.append(area, static_cast<size_t>(n));
    if (decoded)
        *decoded = out;
    return in.getStatus();
}

} // namespace

TEST(Compress, DamagedInputEndsInAnErrorStatus)
{
    std::string good = ioTest::writeFiltered(lzw, ioTest::mixedData(20000, 11));
    ASSERT_EQ(decodeStatus(good), ioStreamEndOfSection);

    // Magic: a wrong third byte fails before any data; so does an empty or too short input.
    std::string bad = good;
    bad[2] = '\x10';
    std::string decoded;
    EXPECT_EQ(decodeStatus(bad, &decoded), ioStreamIOError);
    EXPECT_TRUE(decoded.empty());
    EXPECT_EQ(decodeStatus(""), ioStreamIOError);
    EXPECT_EQ(decodeStatus("\x1F\x9D"), ioStreamIOError);

    // Cut anywhere: the section must end with its end code, so every cut is an error, and
    // what was decoded before it is a prefix of the data.
    std::string data = ioTest::mixedData(20000, 11);
    for (size_t cut = 3; cut < good.size(); cut += cut < 200 ? 1 : 61) {
        ASSERT_EQ(decodeStatus(good.substr(0, cut), &decoded), ioStreamIOError) << cut;
        ASSERT_EQ(data.compare(0, decoded.size(), decoded), 0) << cut;
    }

    // Forged codes: a first code above 255, a code beyond the next free code, a clear followed
    // by a code that is not a literal, a stream that stops mid-group.
    EXPECT_EQ(decodeStatus(packCodes({{300, 9}, {257, 9}, {0, 54}})), ioStreamIOError);
    EXPECT_EQ(decodeStatus(packCodes({{256, 9}, {0, 63}})), ioStreamIOError);
    EXPECT_EQ(decodeStatus(packCodes({{65, 9}, {259, 9}, {257, 9}, {0, 45}})), ioStreamIOError);
    EXPECT_EQ(decodeStatus(packCodes({{65, 9}, {256, 9}, {0, 54}, {258, 9}, {257, 9}, {0, 54}})), ioStreamIOError);
    EXPECT_EQ(decodeStatus(packCodes({{65, 9}, {66, 9}})), ioStreamIOError);
    // The same shapes made valid decode: the code being defined, and a literal after a clear.
    EXPECT_EQ(decodeStatus(packCodes({{65, 9}, {258, 9}, {257, 9}, {0, 45}}), &decoded), ioStreamEndOfSection);
    EXPECT_EQ(decoded, "AAA");
    EXPECT_EQ(decodeStatus(packCodes({{65, 9}, {256, 9}, {0, 54}, {66, 9}, {257, 9}, {0, 54}}), &decoded),
              ioStreamEndOfSection);
    EXPECT_EQ(decoded, "AB");

    // A chain of self-referencing codes: every code is the one being defined, so strings grow
    // by one each time, past the 8000 bytes of the classic stack, then the end code.
    std::vector<std::pair<int, int>> codes = {{0, 9}};
    int freeEnt = 258, bits = 9, inGroup = 1;
    while (freeEnt < 8600) {
        codes.push_back({freeEnt, bits});
        ++freeEnt;
        if (++inGroup == 8)
            inGroup = 0;
        if (freeEnt > (1 << bits) - 1 && bits < 16) {
            for (; inGroup && inGroup < 8; ++inGroup)
                codes.push_back({0, bits});
            inGroup = 0;
            ++bits;
        }
    }
    codes.push_back({ioBufferCompress::endCode, bits});
    EXPECT_EQ(decodeStatus(packCodes(codes), &decoded), ioStreamEndOfSection);
    EXPECT_EQ(decoded.size(), 8343u * 8344u / 2u);
    EXPECT_EQ(decoded.find_first_not_of('\0'), std::string::npos);
}
