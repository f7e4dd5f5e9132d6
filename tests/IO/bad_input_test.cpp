#include "ioPacketFileDebug.h"
#include "ioTestHelpers.h"
#include "qvTestScene.h"

#include <gtest/gtest.h>

using ioTest::ErrorCapture;
using ioTest::int32Bytes;
using ioTest::LambdaType;
using ioTest::TestRegistry;

namespace {

const std::string registryText = "   0 packetFile_string\n   1 packetFile_EOF\n   2 item\n@\n";
const std::string binaryHead = ioTest::binaryHeader(ioWriteBinary) + registryText;

struct Outcome {
    bool opened = false;
    ioStatus status = ioOk;
    std::string messages;
};

// Reads text as a file with one "item" type whose read is given.
Outcome readText(const std::string& text, const std::function<void(ioReadContext&)>& read)
{
    qvTest::TempDir dir;
    std::string path = dir.file("bad.qv");
    qvTest::writeFileBytes(path, text);
    ErrorCapture errors;
    TestRegistry registry(true, {new LambdaType("item", [&](ioClientReadContext& client) { read(client.context()); })});
    ioTest::ReadOutcome outcome = ioTest::readFile(path, registry);
    return Outcome{outcome.opened, outcome.status, errors.messages()};
}

std::string packet(int id, int hasObject, const std::string& body)
{
    return int32Bytes(id) + int32Bytes(hasObject) + int32Bytes(static_cast<int>(body.size())) + body;
}

} // namespace

TEST(BadInput, EachDamageEndsWithItsStatusAndAReport)
{
    const std::string header = ioTest::asciiHeader();
    const std::string head = header + registryText;
    const std::string item = "{ 2 0 7 \"te}xt\" \n  [ 2.5 ] }\n";
    struct Case {
        std::string text;
        bool opened;
        ioStatus status;
        const char* mention;
    } cases[] = {
        {head + item + "{ 1 0 }\n", true, ioOk, ""},
        // Not a packet file, or one of an unknown method: null without a report.
        {"", false, ioError, ""},
        {"^@\n1\n1 9 1\n1 2 4 8 4 8 4\n@\n" + registryText, false, ioError, ""},
        {header + "\x01\x02garbage\xff\n{ 1 0 }\n", true, ioBadData, "registry of the file is damaged"},
        {header + "   0 packetFile_string\n   1 packetFile_EOF\n   3 item\n@\n" + item, true, ioBadData,
         "not consecutive"},
        {head + item, true, ioBadData, "ends inside a packet or before its end-of-file packet (after 1"},
        {head + "{ 2 0 7 \"te\\}xt", true, ioBadData, "ends inside a packet"},
        {head + "{ 2 0 7 \"text\" \n  [ 2.", true, ioBadData, ""},
        {head + "{ 2 0 7 \"text\\", true, ioBadData, ""},
        {head + "{ 99 0 }\n{ 1 0 }\n", true, ioBadData, "type id 99"},
        {header + "   0 packetFile_string\n   1 packetFile_EOF\n   2 item\n   3 mystery\n@\n{ 3 1 5 1 2 }\n{ 1 0 }\n",
         true, ioBadData, "ioPacketFile: A packet type: 'mystery'\n"},
        {head + "{ 0 1 3 no quotes }\n{ 1 0 }\n", true, ioBadData, "no well-formed string"},
        // Binary heads with a negative type id or body length, or a body longer than the file.
        {binaryHead + packet(-3, 0, "") + packet(1, 0, ""), true, ioBadData, "its type id is negative"},
        {binaryHead + int32Bytes(2) + int32Bytes(0) + int32Bytes(-1) + packet(1, 0, ""), true, ioBadData,
         "its body length is negative"},
        {binaryHead + int32Bytes(2) + int32Bytes(0) + int32Bytes(0x7ffffff0) + "abc", true, ioBadData, "ends inside a packet"},
    };
    for (const Case& c : cases) {
        Outcome outcome = readText(c.text, [](ioReadContext& ctx) {
            ctx.readInt();
            ctx.readCString();
            ctx.startSubPacket();
            ctx.readDouble();
            ctx.endSubPacket();
        });
        EXPECT_EQ(outcome.opened, c.opened) << c.text;
        EXPECT_EQ(outcome.status, c.status) << c.text;
        EXPECT_NE(outcome.messages.find(c.mention), std::string::npos) << c.text << "\n" << outcome.messages;
        if (c.status == ioOk || !c.opened) {
            EXPECT_EQ(outcome.messages, "");
        }
    }
}

TEST(BadInput, BinaryReadsStayInsideTheirPacket)
{
    const std::string eof = packet(1, 0, "");
    auto read = [&](const std::string& packets, const std::function<void(ioReadContext&)>& reader) {
        return readText(binaryHead + packets, reader);
    };
    // Reading more than the packet holds gives zeros and a report, never the bytes after it.
    int past = -1;
    Outcome overrun = read(packet(2, 0, "ab") + packet(2, 0, "cdef") + eof, [&](ioReadContext& ctx) { past = ctx.readInt(); });
    EXPECT_EQ(overrun.status, ioBadData);
    EXPECT_EQ(past, 0);
    EXPECT_NE(overrun.messages.find("reads past the end of its data"), std::string::npos);

    // A string without its NUL is null, and arrays that run past the end are zeros.
    const char* text = "x";
    EXPECT_EQ(read(packet(2, 0, "abc") + eof, [&](ioReadContext& ctx) { text = ctx.readCString(); }).status, ioBadData);
    EXPECT_EQ(text, nullptr);
    double values[4] = {1, 1, 1, 1};
    read(packet(2, 0, std::string(16, '\x7f')) + eof, [&](ioReadContext& ctx) { ctx.readDoubleArray(values, 4); });
    EXPECT_EQ(values[0] + values[3], 0.0);

    // A sub-packet claiming more bytes than its packet ends at the packet's end, and the next
    // packet reads normally.
    for (int forged : {0x7fffffff, -50, 1 << 20}) {
        int next = -1, packets = 0;
        Outcome outcome = read(packet(2, 0, "," + int32Bytes(forged) + int32Bytes(9)) + packet(2, 0, int32Bytes(42)) + eof,
                               [&](ioReadContext& ctx) {
                                   if (packets++ == 0) {
                                       ctx.startSubPacket();
                                       ctx.endSubPacket();
                                       ctx.readInt();
                                       ctx.setStatus(ioOk);
                                   } else {
                                       next = ctx.readInt();
                                   }
                               });
        EXPECT_EQ(outcome.status, ioOk) << forged;
        EXPECT_EQ(next, 42) << forged;
    }
    // A long chunk is cut to its packet, so the read after it has nothing left; a negative one
    // is empty, so the read inside it has nothing.
    for (int forged : {0x7fffffff, -50}) {
        int inside = -1, after = -1;
        Outcome outcome = read(packet(2, 0, "." + int32Bytes(forged) + int32Bytes(7) + int32Bytes(8)) + eof, [&](ioReadContext& ctx) {
            ctx.nextChunk();
            inside = ctx.readInt();
            ctx.endChunk();
            after = ctx.readInt();
        });
        EXPECT_EQ(outcome.status, ioBadData) << forged;
        EXPECT_EQ(after, forged > 0 ? 0 : 7) << forged;
        EXPECT_EQ(inside, forged > 0 ? 7 : 0) << forged;
    }

    // A forged body length costs only what the stream delivers.
    qvTest::TempDir dir;
    std::string path = dir.file("long.qv");
    qvTest::writeFileBytes(path, int32Bytes(2) + int32Bytes(0) + int32Bytes(0x7ffffff0) + std::string(100, 'z'));
    ioBufferedStreamInput in;
    in.openFile(path.c_str());
    ioReadContextBinarySameEndian ctx(in);
    std::unique_ptr<ioPacketFileBuffer> buffer(ctx.newPacketBuffer());
    auto* binary = static_cast<ioPacketFileBinaryBuffer*>(buffer.get());
    EXPECT_EQ(binary->readPacketHeader(ctx, in), 0);
    EXPECT_EQ(binary->getType(), nullptr);
    EXPECT_LE(binary->getCapacity(), 4 << 20);
    in.close();
}

TEST(BadInput, ForgedReferenceNumbersCostNoMemory)
{
    // Far numbers, defined and waited for, in a file of a few hundred bytes.
    std::string text = std::string(ioTest::asciiHeader()) + registryText;
    for (unsigned number : {2000000000u, 1999999999u, 4294967295u, 1500000000u, 7u})
        text += "{ 2 1 " + std::to_string(number) + " " + std::to_string(number) + " }\n";
    std::vector<std::unique_ptr<int>> objects;
    std::vector<int*> targets(5, nullptr);
    Outcome outcome = readText(text + "{ 1 0 }\n", [&](ioReadContext& ctx) {
        ctx.definePacketReference(objects.emplace_back(std::make_unique<int>()).get());
        ctx.readReferenceUsage(&targets[objects.size() - 1], 0);
    });
    EXPECT_EQ(outcome.status, ioOk);
    EXPECT_EQ(targets[0], objects[0].get());
    EXPECT_EQ(targets[1], objects[1].get());
    EXPECT_EQ(targets[2], nullptr); // 4294967295 reads as -1 in an int: no reference
    EXPECT_EQ(targets[4], objects[4].get());
}

// Damaged bytes anywhere are the fuzz targets' work; here every cut must be reported.
TEST(BadInput, CutSceneFilesEndInBadData)
{
    qvTest::TempDir dir;
    qvTest::Scene scene = qvTest::makeScene({40, 4, 3, 1});
    ErrorCapture errors;
    std::string path = dir.file("scene.qv"), cutPath = dir.file("cut.qv");
    for (ioWriteMethod method : {ioWriteAscii, ioWriteBinary, ioWriteBinaryDebug}) {
        ASSERT_EQ(qvTest::writeSceneFile(scene, path, method), ioOk);
        const std::string whole = qvTest::readFileBytes(path);
        // Every proper prefix is a truncated file; in text only the final newline can go without harm.
        for (size_t length = 0; length < whole.size(); length += 1 + length / 25) {
            qvTest::writeFileBytes(cutPath, whole.substr(0, length));
            qvTest::Scene copy;
            qvTest::SceneReadResult result = qvTest::readSceneFile(copy, cutPath);
            EXPECT_TRUE(!result.opened || result.status == ioBadData || (method == ioWriteAscii && length + 1 == whole.size()))
                << method << " cut at " << length;
        }
    }
}
