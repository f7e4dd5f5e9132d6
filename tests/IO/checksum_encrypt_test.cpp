#include "ioBufferChecksum.h"
#include "ioBufferEncrypt.h"
#include "ioFilterTestHelpers.h"
#include "internal/ioAes128.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using ioTest::Filter;

namespace {

const std::vector<Filter> sum = {Filter::checksum};
const std::vector<Filter> cipher = {Filter::encrypt};

std::string fromHex(const char* text)
{
    std::string out;
    for (; text[0] && text[1]; text += 2)
        out += static_cast<char>(std::stoi(std::string(text, 2), nullptr, 16));
    return out;
}

// The bytes of each 32-bit word in reverse order.
std::string wordsSwapped(const std::string& bytes)
{
    std::string out = bytes;
    for (size_t i = 0; i + 4 <= out.size(); i += 4)
        std::reverse(out.begin() + static_cast<long>(i), out.begin() + static_cast<long>(i + 4));
    return out;
}

// Restores the library key and the processor's AES instructions when a test ends.
struct KeyGuard {
    ~KeyGuard()
    {
        ioBufferEncrypt::setKey(nullptr);
        io::internal::Aes128::allowHardware(true);
    }
};

// The cipher paths this machine has: the portable code, and the AES instructions where present.
std::vector<bool> cipherPaths()
{
    std::vector<bool> paths = {false};
    if (io::internal::aesHardware::available())
        paths.push_back(true);
    return paths;
}

} // namespace

TEST(Checksum, BlockHeaderHoldsTheLengthItsComplementAndTheRunningSum)
{
    std::string area(4096, '\0');
    for (size_t i = 0; i < area.size(); ++i)
        area[i] = static_cast<char>(i);
    // The sum runs on over blocks: a second equal block adds the same words again.
    std::string bytes = ioTest::writeFiltered(sum, area + area);
    uint16_t twice = ioBufferChecksum::addToSum(0xFC03, area.data(), 4096);
    EXPECT_EQ(bytes.substr(0, 10), fromHex("00001000FFFFEFFF03FC"));
    EXPECT_TRUE(bytes.substr(10, 4096) == area);
    EXPECT_EQ(bytes.substr(4106, 10), fromHex("00001000FFFFEFFF") + static_cast<char>(twice & 0xFF) + static_cast<char>(twice >> 8));

    // Folding: words that carry past 16 bits wrap around; odd lengths add the last byte alone.
    EXPECT_EQ(ioBufferChecksum::addToSum(0xFFFF, "\x01\x00", 2), 0x0001);
    EXPECT_EQ(ioBufferChecksum::addToSum(0, "\xFF\xFF\xFF\xFF", 4), 0xFFFF);
    EXPECT_EQ(ioBufferChecksum::addToSum(0, "\x00\x00\x00", 3), 0x0000);
    EXPECT_EQ(ioBufferChecksum::addToSum(0x0102, "\x10\x20\x30", 3), 0x0102 + 0x2010 + 0x30);
}

TEST(Checksum, DataRoundTripsWhateverTheBlocksAndDamagedBlocksAreRefused)
{
    std::string data = ioTest::mixedData(30000, 7);
    std::string whole = ioTest::writeFiltered(sum, data, "trailer");
    // Written in pieces of 1000 bytes through flushes, the blocks and so the sums differ.
    std::string pieces;
    {
        qvTest::MemoryOutput out(pieces);
        out.checksum(true);
        for (size_t at = 0; at < data.size(); at += 1000) {
            out.writeData(data.data() + at, 1000);
            out.flush();
        }
        out.checksum(false);
        out.writeString("trailer");
        out.close();
    }
    EXPECT_NE(whole, pieces);
    for (const std::string* bytes : {&whole, &pieces}) {
        ioTest::FilteredRead read = ioTest::readFiltered(sum, *bytes, data.size(), 7);
        EXPECT_TRUE(read.status == ioStreamOk && read.payload == data && read.trailer == "trailer");
    }
    // Reading on past the last block is a plain end of file.
    qvTest::MemoryInput in(ioTest::writeFiltered(sum, "abc"));
    in.checksum(true);
    char got[8];
    EXPECT_EQ(in.readData(got, 8), 3);
    EXPECT_EQ(in.getStatus(), ioStreamEOF);

    const std::string good = whole.substr(0, 3 * 4106);
    auto statusOf = [&](const std::string& bytes) { return ioTest::readFiltered(sum, bytes, 9000).status; };
    ASSERT_EQ(statusOf(good), ioStreamOk);
    // A flipped bit in the complement, the stored sum or a data byte.
    for (size_t at : {5u, 9u, 100u}) {
        std::string bad = good;
        bad[at] ^= 1;
        EXPECT_EQ(statusOf(bad), ioStreamChecksumError) << at;
    }
    // Blocks swapped: each is intact, but the running sum no longer matches.
    EXPECT_EQ(statusOf(good.substr(4106, 4106) + good.substr(0, 4106) + good.substr(8212)), ioStreamChecksumError);
    // Cut anywhere inside a block or a header.
    for (size_t cut : {1u, 9u, 10u, 11u, 4105u, 4107u, 8300u})
        EXPECT_EQ(statusOf(good.substr(0, cut)), ioStreamChecksumError) << cut;
    // A forged length of almost 4 GB with a matching complement: refused once the data runs out,
    // after allocating no more than what arrived.
    ioTest::FilteredRead read = ioTest::readFiltered(sum, fromHex("FFFFFFF00000000F0000") + std::string(3000, 'x'), 10);
    EXPECT_EQ(read.status, ioStreamChecksumError);
    EXPECT_TRUE(read.payload.empty());
}

TEST(Encrypt, AesMatchesTheStandardVectorsInEitherWordOrder)
{
    KeyGuard guard;
    // With a zero starting block, the first whole block of a section is the plain cipher output.
    const char* const vectors[][3] = {
        {"000102030405060708090a0b0c0d0e0f", "00112233445566778899aabbccddeeff", "69c4e0d86a7b0430d8cdb78070b4c55a"},
        {"2b7e151628aed2a6abf7158809cf4f3c", "3243f6a8885a308d313198a2e0370734", "3925841d02dc09fbdc118597196a0b32"},
    };
    for (bool hardware : cipherPaths()) {
      io::internal::Aes128::allowHardware(hardware);
      for (const auto& v : vectors) {
        SCOPED_TRACE(hardware ? "AES instructions" : "portable");
        std::string key = fromHex(v[0]);
        ioBufferEncrypt::setKey(reinterpret_cast<const unsigned char*>(key.data()));
        std::string bytes = ioTest::writeFiltered(cipher, fromHex(v[1]));
        // Marker 1, one record of 16 bytes.
        EXPECT_EQ(bytes, std::string("\x01\x10", 2) + fromHex(v[2]));
        EXPECT_EQ(ioTest::readFiltered(cipher, bytes, 16).payload, fromHex(v[1]));
        // A writer with big-endian words enciphers each block with its words' bytes reversed;
        // the reader undoes it when the marker is 0.
        std::string bigEndian = std::string("\x00\x10", 2) + wordsSwapped(fromHex(v[2]));
        EXPECT_EQ(ioTest::readFiltered(cipher, bigEndian, 16).payload, wordsSwapped(fromHex(v[1])));
      }
    }
}

TEST(Encrypt, EveryLengthRoundTripsAndOnlyTheRightKeyReadsIt)
{
    KeyGuard guard;
    std::string data = ioTest::mixedData(5000, 9);
    // Both cipher paths write the same bytes and read each other's.
    std::vector<std::string> written;
    for (bool hardware : cipherPaths()) {
        io::internal::Aes128::allowHardware(hardware);
        written.push_back(ioTest::writeFiltered(cipher, data));
        EXPECT_TRUE(ioTest::readFiltered(cipher, written.front(), data.size()).payload == data);
        for (size_t size = 0; size <= 5000; size += size < 600 ? 1 : 53) {
            std::string part = data.substr(0, size);
            std::string bytes = ioTest::writeFiltered(cipher, part, "plain");
            ASSERT_TRUE(size < 16 || bytes.find(part.substr(0, 16)) == std::string::npos) << size;
            ioTest::FilteredRead read = ioTest::readFiltered(cipher, bytes, size, 5);
            ASSERT_TRUE(read.payload == part && read.trailer == "plain") << size << " " << hardware;
        }
    }
    EXPECT_TRUE(written.front() == written.back());
    // Records hold at most 255 bytes; a data area is split into whole-block records.
    std::string bytes = ioTest::writeFiltered(cipher, data.substr(0, 500));
    EXPECT_EQ(static_cast<unsigned char>(bytes[1]), 240);
    EXPECT_EQ(static_cast<unsigned char>(bytes[242]), 240);
    EXPECT_EQ(static_cast<unsigned char>(bytes[483]), 20);
    EXPECT_EQ(bytes.size(), 1u + 3u + 500u);

    // A host key: the library key no longer reads the bytes, the same key does.
    const unsigned char hostKey[16] = {9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 1, 2, 3, 4, 5, 6};
    ioBufferEncrypt::setKey(hostKey);
    bytes = ioTest::writeFiltered(cipher, data);
    EXPECT_TRUE(ioTest::readFiltered(cipher, bytes, data.size()).payload == data);
    ioBufferEncrypt::setKey(nullptr);
    EXPECT_FALSE(ioTest::readFiltered(cipher, bytes, data.size()).payload == data);
    // A stream's own key: the default key does not read it, the same key does.
    std::string own;
    {
        qvTest::MemoryOutput out(own);
        out.encrypt(true, hostKey);
        out.writeData(data.data(), static_cast<int>(data.size()));
        out.encrypt(false, nullptr);
        out.close();
    }
    EXPECT_TRUE(own == bytes);
    EXPECT_FALSE(ioTest::readFiltered(cipher, own, data.size()).payload == data);
    {
        qvTest::MemoryInput in(own);
        std::string back(data.size(), '\0');
        in.encrypt(true, hostKey);
        EXPECT_EQ(in.readData(&back[0], static_cast<int>(back.size())), static_cast<int>(back.size()));
        EXPECT_TRUE(back == data);
    }

    // A bad marker or a short record is an error; no marker or no record is the end of the file.
    EXPECT_EQ(ioTest::readFiltered(cipher, std::string("\x02\x01x", 3), 1).status, ioStreamIOError);
    EXPECT_EQ(ioTest::readFiltered(cipher, std::string("\x01\x20", 2) + "short", 5).status, ioStreamIOError);
    EXPECT_EQ(ioTest::readFiltered(cipher, "", 1).status, ioStreamEOF);
    EXPECT_EQ(ioTest::readFiltered(cipher, std::string("\x01", 1), 1).status, ioStreamEOF);
}

// The default key may change while other threads open streams: each stream takes a whole key,
// the old one or the new one (the thread sanitizer checks the rest).
TEST(Encrypt, TheDefaultKeyChangesSafelyWhileOtherThreadsOpenStreams)
{
    KeyGuard guard;
    const unsigned char keys[2][16] = {{1}, {2}};
    const std::string data = ioTest::mixedData(64, 3);
    std::string expected[2];
    for (int k = 0; k < 2; ++k) {
        ioBufferEncrypt::setKey(keys[k]);
        expected[k] = ioTest::writeFiltered(cipher, data);
    }
    std::atomic<bool> stop{false};
    std::thread changer([&] {
        for (int i = 0; !stop; ++i)
            ioBufferEncrypt::setKey(keys[i % 2]);
    });
    for (int i = 0; i < 2000; ++i) {
        std::string bytes = ioTest::writeFiltered(cipher, data);
        ASSERT_TRUE(bytes == expected[0] || bytes == expected[1]) << i;
    }
    stop = true;
    changer.join();
}
