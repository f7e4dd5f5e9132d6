#include "ioBufferCompress.h"
#include "ioFilterTestHelpers.h"

#include <gtest/gtest.h>

using ioTest::Filter;

namespace {

const std::vector<Filter> lzw = {Filter::compress};

std::string hex(const std::string& bytes, size_t count)
{
    std::string out;
    char text[4];
    for (size_t i = 0; i < std::min(count, bytes.size()); ++i) {
        std::snprintf(text, sizeof text, "%02X ", static_cast<unsigned char>(bytes[i]));
        out += text;
    }
    return out;
}

// Reads a whole compressed section and the plain bytes behind it.
void expectRoundTrip(const std::string& payload, const std::string& trailer, const char* what)
{
    std::string bytes = ioTest::writeFiltered(lzw, payload, trailer);
    ioTest::FilteredRead read = ioTest::readFiltered(lzw, bytes, payload.size(), trailer.size() + 1);
    ASSERT_EQ(read.status, ioStreamOk) << what << " size " << payload.size();
    ASSERT_TRUE(read.payload == payload) << what << " size " << payload.size();
    ASSERT_EQ(read.endStatus, ioStreamEndOfSection) << what << " size " << payload.size();
    ASSERT_EQ(read.trailer, trailer) << what << " size " << payload.size();
}

} // namespace

TEST(Compress, WritesTheClassicLayoutWithItsEndCodeAndWholeGroups)
{
    // "aaa": the literal 97, the code 258 for "aa", the end code, padded to a group of 9 bytes.
    std::string bytes = ioTest::writeFiltered(lzw, "aaa");
    EXPECT_EQ(hex(bytes, 64), "1F 9D 90 61 04 06 04 00 00 00 00 00 ");

    // Kept: an empty section still writes its final codes (0 and the end code), but no magic.
    EXPECT_EQ(hex(ioTest::writeFiltered(lzw, ""), 64), "00 02 02 00 00 00 00 00 00 ");

    // Every longer section starts with the magic, and its length after it is whole groups.
    std::string text;
    while (text.size() < 5000)
        text += "node mesh material 0.25 ";
    bytes = ioTest::writeFiltered(lzw, text);
    EXPECT_EQ(hex(bytes, 3), "1F 9D 90 ");
    EXPECT_LT(bytes.size(), text.size() / 5);
}

TEST(Compress, EverySizeRoundTripsAndThePlainBytesBehindItFollow)
{
    const std::string trailer = "plain bytes after the section\n";
    std::string mixed = ioTest::mixedData(3000, 1);
    std::string noise = ioTest::randomData(3000, 2);
    std::string run(3000, 'x');
    for (size_t size = 1; size <= 3000; size += size < 400 ? 1 : 7) {
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

TEST(Compress, StringsLongerThanTheClassicStackDecode)
{
    // A run of one value makes strings one byte longer each time: 32 MB give strings of more
    // than 8,100 bytes, beyond the 8000-byte stack of the classic decoder.
    std::string run(32u << 20, '\x5A');
    std::string bytes = ioTest::writeFiltered(lzw, run, "end");
    ioTest::FilteredRead read = ioTest::readFiltered(lzw, bytes, run.size(), 3);
    EXPECT_EQ(read.status, ioStreamOk);
    EXPECT_TRUE(read.payload == run);
    EXPECT_EQ(read.trailer, "end");
}

TEST(Compress, SeveralSectionsInOneStream)
{
    std::string bytes;
    std::vector<std::string> parts = {ioTest::mixedData(10000, 4), "between\n", ioTest::randomData(5000, 5),
                                      "after\n"};
    {
        ioTest::MemoryOutput out(bytes);
        for (size_t i = 0; i < parts.size(); ++i) {
            if (i % 2 == 0)
                out.compress(true);
            out.writeData(parts[i].data(), static_cast<int>(parts[i].size()));
            if (i % 2 == 0)
                out.compress(false);
        }
        out.close();
        ASSERT_TRUE(out.good());
    }
    ioTest::MemoryInput in(bytes);
    for (size_t i = 0; i < parts.size(); ++i) {
        if (i % 2 == 0)
            in.compress(true);
        std::string got(parts[i].size(), '\0');
        ASSERT_EQ(in.readData(&got[0], static_cast<int>(got.size())), static_cast<int>(got.size())) << i;
        EXPECT_TRUE(got == parts[i]) << i;
        if (i % 2 == 0) {
            EXPECT_EQ(in.readChar(), 0);
            EXPECT_EQ(in.getStatus(), ioStreamEndOfSection);
            in.compress(false);
            EXPECT_TRUE(in.good());
        }
    }
    in.readChar();
    EXPECT_EQ(in.getStatus(), ioStreamEOF);
}
