#include "ioTestHelpers.h"
#include "ioPacketFileDebug.h"

#include <gtest/gtest.h>

using ioTest::ErrorCapture;
using ioTest::int32Bytes;
using ioTest::LambdaType;
using ioTest::TestRegistry;

namespace {

const char* const binaryHead = "^@\n1\n1 1 1\n1 2 4 8 4 8 4\n@\n   0 packetFile_string\n"
                               "   1 packetFile_EOF\n   2 item\n@\n";

std::string packet(int id, int hasObject, const std::string& body)
{
    return int32Bytes(id) + int32Bytes(hasObject) + int32Bytes(static_cast<int>(body.size())) + body;
}

struct Outcome {
    ioStatus status;
    std::string messages;
    bool mentions(const char* text) const { return messages.find(text) != std::string::npos; }
};

// Reads binaryHead + packets with one "item" type whose read is given.
Outcome readPackets(const std::string& packets, std::function<void(ioReadContext&)> read = {})
{
    qvTest::TempDir dir;
    std::string path = dir.file("bad.qv");
    qvTest::writeFileBytes(path, binaryHead + packets);
    ErrorCapture errors;
    TestRegistry registry(true, {new LambdaType("item", [&](ioClientReadContext& client) {
                              if (read)
                                  read(client.context());
                          })});
    return Outcome{ioTest::readFile(path, registry).status, errors.messages()};
}

} // namespace

TEST(BinaryBadInput, DamagedHeadsAndBodiesEndWithBadData)
{
    const std::string eof = packet(1, 0, "");
    EXPECT_EQ(readPackets(packet(2, 0, "") + eof).status, ioOk);

    // A head with a negative type id or body length has no type.
    Outcome negativeId = readPackets(packet(-3, 0, "") + eof);
    EXPECT_EQ(negativeId.status, ioBadData);
    EXPECT_TRUE(negativeId.mentions("type id -3"));
    Outcome negativeLength = readPackets(int32Bytes(2) + int32Bytes(0) + int32Bytes(-1) + eof);
    EXPECT_EQ(negativeLength.status, ioBadData);

    // A body longer than the file, and a file cut inside a head or a body.
    Outcome longBody = readPackets(int32Bytes(2) + int32Bytes(0) + int32Bytes(0x7ffffff0) + "abc");
    EXPECT_EQ(longBody.status, ioBadData);
    EXPECT_TRUE(longBody.mentions("ends inside a packet"));
    const std::string whole = packet(2, 0, "abcdefgh") + eof;
    for (size_t cut = 0; cut < whole.size(); ++cut)
        EXPECT_EQ(readPackets(whole.substr(0, cut)).status, ioBadData) << cut;

    // Reading more than the packet holds gives zeros and a report, never the bytes after it.
    int past = -1;
    Outcome overrun = readPackets(packet(2, 0, "ab") + packet(2, 0, "cdef") + eof,
                                  [&](ioReadContext& ctx) { past = ctx.readInt(); });
    EXPECT_EQ(overrun.status, ioBadData);
    EXPECT_EQ(past, 0);
    EXPECT_TRUE(overrun.mentions("reads past the end of its data"));

    // A string without its NUL is null, and so are arrays that run past the end: zeros.
    const char* text = "x";
    Outcome noNul = readPackets(packet(2, 0, "abc") + eof, [&](ioReadContext& ctx) { text = ctx.readCString(); });
    EXPECT_EQ(noNul.status, ioBadData);
    EXPECT_EQ(text, nullptr);
    double values[4] = {1, 1, 1, 1};
    readPackets(packet(2, 0, std::string(16, '\x7f')) + eof,
                [&](ioReadContext& ctx) { ctx.readDoubleArray(values, 4); });
    EXPECT_EQ(values[0] + values[3], 0.0);
}

TEST(BinaryBadInput, ForgedSubPacketAndChunkLengthsStayInsideTheirPacket)
{
    const std::string eof = packet(1, 0, "");
    // A sub-packet claiming far more bytes than its packet: leaving it ends at the packet's end,
    // and the next packet reads normally.
    for (int forged : {0x7fffffff, -50, 1 << 20}) {
        int after = -1;
        int next = -1;
        std::string body = "," + int32Bytes(forged) + int32Bytes(9);
        Outcome outcome = readPackets(packet(2, 0, body) + packet(2, 0, int32Bytes(42)) + eof, [&](ioReadContext& ctx) {
            if (after == -1) {
                ctx.startSubPacket();
                ctx.endSubPacket();
                after = ctx.readInt();
                ctx.setStatus(ioOk);
            } else {
                next = ctx.readInt();
            }
        });
        EXPECT_EQ(outcome.status, ioOk) << forged;
        EXPECT_EQ(next, 42) << forged;
    }
    for (int forged : {0x7fffffff, -50}) {
        int inside = -1;
        int after = -1;
        std::string body = "." + int32Bytes(forged) + int32Bytes(7) + int32Bytes(8);
        Outcome outcome = readPackets(packet(2, 0, body) + eof, [&](ioReadContext& ctx) {
            ctx.nextChunk();
            inside = ctx.readInt();
            ctx.endChunk();
            after = ctx.readInt();
        });
        // A long chunk is cut to its packet, so the read after it has nothing left; a negative
        // one is empty, so the read inside it has nothing.
        EXPECT_EQ(outcome.status, ioBadData) << forged;
        EXPECT_EQ(after, forged > 0 ? 0 : 7) << forged;
        EXPECT_EQ(inside, forged > 0 ? 7 : 0) << forged;
    }
}

TEST(BinaryBadInput, ForgedBodyLengthCostsOnlyWhatTheStreamDelivers)
{
    qvTest::TempDir dir;
    std::string path = dir.file("long.qv");
    qvTest::writeFileBytes(path, int32Bytes(2) + int32Bytes(0) + int32Bytes(0x7ffffff0) + std::string(100, 'z'));
    ioBufferedStreamInput in;
    in.openFile(path.c_str());
    ioReadContextBinarySameEndian ctx(in);
    std::unique_ptr<ioPacketFileBuffer> packet(ctx.newPacketBuffer());
    auto* buffer = static_cast<ioPacketFileBinaryBuffer*>(packet.get());
    EXPECT_EQ(buffer->readPacketHeader(ctx, in), 0);
    EXPECT_EQ(buffer->getType(), nullptr);
    EXPECT_LE(buffer->getCapacity(), 4 << 20);
    in.close();
}
