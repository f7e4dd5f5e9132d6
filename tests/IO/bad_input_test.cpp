#include "ioTestHelpers.h"
#include "qvTestScene.h"

#include <gtest/gtest.h>


using ioTest::ErrorCapture;
using ioTest::LambdaType;
using ioTest::TestRegistry;

namespace {

const std::string registryText = "   0 packetFile_string\n   1 packetFile_EOF\n   2 item\n@\n";

struct Outcome {
    bool opened = false;
    ioStatus status = ioOk;
    std::string messages;
};

// Reads text as a file whose "item" packets hold an int, a string and a sub-packet.
Outcome readText(const std::string& text)
{
    qvTest::TempDir dir;
    std::string path = dir.file("bad.qv");
    qvTest::writeFileBytes(path, text);
    ErrorCapture errors;
    TestRegistry registry(true, {new LambdaType("item", [](ioClientReadContext& ctx) {
        ctx->readInt();
        ctx->readCString();
        ctx->startSubPacket();
        ctx->readDouble();
        ctx->endSubPacket();
    })});
    ioTest::ReadOutcome read = ioTest::readFile(path, registry);
    return Outcome{read.opened, read.status, errors.messages()};
}

} // namespace

TEST(BadInput, EachDamageEndsWithItsStatusAndAReport)
{
    const std::string header = ioTest::asciiHeader();
    const std::string head = header + registryText;
    const std::string packet = "{ 2 0 7 \"te}xt\" \n  [ 2.5 ] }\n";
    struct Case {
        std::string text;
        bool opened;
        ioStatus status;
        const char* mention;
    } cases[] = {
        {head + packet + "{ 1 0 }\n", true, ioOk, ""},
        {"", false, ioError, "no valid packet file header"},
        {"^@\n1\n1 9 1\n1 2 4 8 4 8 4\n@\n" + registryText, false, ioError, "write method that is not known"},
        {header + "\x01\x02garbage\xff\n{ 1 0 }\n", true, ioBadData, "registry of the file is damaged"},
        {header + "   0 packetFile_string\n   1 packetFile_EOF\n   3 item\n@\n" + packet, true, ioBadData,
         "not consecutive"},
        {head + packet, true, ioBadData, "ends inside a packet or before its end-of-file packet (after 1"},
        {head + "{ 2 0 7 \"te\\}xt", true, ioBadData, "ends inside a packet"},
        {head + "{ 2 0 7 \"text\" \n  [ 2.", true, ioBadData, ""},
        {head + "{ 2 0 7 \"text\\", true, ioBadData, ""},
        {head + "{ 99 0 }\n{ 1 0 }\n", true, ioBadData, "type id 99"},
        {header + "   0 packetFile_string\n   1 packetFile_EOF\n   2 item\n   3 mystery\n@\n{ 3 1 5 1 2 }\n{ 1 0 }\n",
         true, ioBadData, "ioPacketFile: A packet type: 'mystery'\n"},
        {head + "{ 0 1 3 no quotes }\n{ 1 0 }\n", true, ioBadData, "no well-formed string"},
    };
    for (const Case& c : cases) {
        Outcome outcome = readText(c.text);
        EXPECT_EQ(outcome.opened, c.opened) << c.text;
        if (c.opened) {
            EXPECT_EQ(outcome.status, c.status) << c.text;
        }
        EXPECT_NE(outcome.messages.find(c.mention), std::string::npos) << c.text << "\n" << outcome.messages;
        if (c.status == ioOk) {
            EXPECT_EQ(outcome.messages, "");
        }
    }
}

TEST(BadInput, ForgedReferenceNumbersCostNoMemory)
{
    // Far numbers, defined and waited for, in a file of a few hundred bytes.
    const std::string head = std::string(ioTest::asciiHeader()) + registryText;
    std::string text = head;
    for (unsigned number : {2000000000u, 1999999999u, 4294967295u, 1500000000u, 7u})
        text += "{ 2 1 " + std::to_string(number) + " " + std::to_string(number) + " }\n";
    text += "{ 1 0 }\n";

    qvTest::TempDir dir;
    std::string path = dir.file("far.qv");
    qvTest::writeFileBytes(path, text);
    std::vector<std::unique_ptr<int>> objects;
    std::vector<int*> targets(5, nullptr);
    size_t at = 0;
    LambdaType* type = new LambdaType("item", [&](ioClientReadContext& ctx) {
        objects.push_back(std::make_unique<int>(static_cast<int>(objects.size())));
        ctx->definePacketReference(objects.back().get());
        ctx->readReferenceUsage(&targets[at++], 0);
    });
    TestRegistry registry(true, {type});
    EXPECT_EQ(ioTest::readFile(path, registry).status, ioOk);
    EXPECT_EQ(targets[0], objects[0].get());
    EXPECT_EQ(targets[1], objects[1].get());
    // 4294967295 reads as -1 in an int: no reference.
    EXPECT_EQ(targets[2], nullptr);
    EXPECT_EQ(targets[4], objects[4].get());
}

// Damaged bytes anywhere are the fuzz targets' work; here every cut must be reported.
TEST(BadInput, CutSceneFilesEndInBadData)
{
    qvTest::TempDir dir;
    qvTest::Scene scene = qvTest::makeScene({40, 4, 3, 1});
    ErrorCapture errors;
    std::string path = dir.file("scene.qv");
    std::string cutPath = dir.file("cut.qv");
    for (ioWriteMethod method : {ioWriteAscii, ioWriteBinary, ioWriteBinaryDebug}) {
        ASSERT_EQ(qvTest::writeSceneFile(scene, path, method), ioOk);
        const std::string whole = qvTest::readFileBytes(path);
        const bool ascii = method == ioWriteAscii;

        // Every proper prefix is a truncated file; in text only the final newline can go
        // without harm.
        for (size_t length = 0; length < whole.size(); length += 1 + length / 25) {
            qvTest::writeFileBytes(cutPath, whole.substr(0, length));
            qvTest::Scene copy;
            qvTest::SceneReadResult result = qvTest::readSceneFile(copy, cutPath);
            EXPECT_TRUE(!result.opened || result.status == ioBadData || (ascii && length + 1 == whole.size()))
                << method << " cut at " << length;
        }
    }
}
