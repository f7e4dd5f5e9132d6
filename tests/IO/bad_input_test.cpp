#include "ioTestHelpers.h"
#include "qvTestScene.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>

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

bool mentions(const Outcome& outcome, const char* text)
{
    return outcome.messages.find(text) != std::string::npos;
}

} // namespace

TEST(BadInput, EachDamageEndsWithItsStatusAndAReport)
{
    const std::string head = ioTest::asciiHeader() + registryText;
    const std::string packet = "{ 2 0 7 \"te}xt\" \n  [ 2.5 ] }\n";

    Outcome ok = readText(head + packet + "{ 1 0 }\n");
    EXPECT_EQ(ok.status, ioOk);
    EXPECT_EQ(ok.messages, "");

    Outcome empty = readText("");
    EXPECT_FALSE(empty.opened);
    EXPECT_TRUE(mentions(empty, "no valid packet file header"));

    Outcome badMethod = readText("^@\n1\n1 9 1\n1 2 4 8 4 8 4\n@\n" + registryText);
    EXPECT_FALSE(badMethod.opened);
    EXPECT_TRUE(mentions(badMethod, "write method that is not known"));

    Outcome garbage = readText(std::string(ioTest::asciiHeader()) + "\x01\x02garbage\xff\n{ 1 0 }\n");
    EXPECT_EQ(garbage.status, ioBadData);
    EXPECT_TRUE(mentions(garbage, "registry of the file is damaged"));

    Outcome gap = readText(std::string(ioTest::asciiHeader())
                           + "   0 packetFile_string\n   1 packetFile_EOF\n   3 item\n@\n" + packet);
    EXPECT_EQ(gap.status, ioBadData);
    EXPECT_TRUE(mentions(gap, "not consecutive"));

    Outcome noEnd = readText(head + packet);
    EXPECT_EQ(noEnd.status, ioBadData);
    EXPECT_TRUE(mentions(noEnd, "ends inside a packet or before its end-of-file packet (after 1"));

    Outcome cutInString = readText(head + "{ 2 0 7 \"te\\}xt");
    EXPECT_EQ(cutInString.status, ioBadData);
    EXPECT_TRUE(mentions(cutInString, "ends inside a packet"));

    Outcome cutInSubPacket = readText(head + "{ 2 0 7 \"text\" \n  [ 2.");
    EXPECT_EQ(cutInSubPacket.status, ioBadData);

    Outcome cutAfterBackslash = readText(head + "{ 2 0 7 \"text\\");
    EXPECT_EQ(cutAfterBackslash.status, ioBadData);

    Outcome unknownId = readText(head + "{ 99 0 }\n{ 1 0 }\n");
    EXPECT_EQ(unknownId.status, ioBadData);
    EXPECT_TRUE(mentions(unknownId, "type id 99"));

    Outcome unsupported = readText(std::string(ioTest::asciiHeader())
                                   + "   0 packetFile_string\n   1 packetFile_EOF\n   2 item\n"
                                     "   3 mystery\n@\n{ 3 1 5 1 2 }\n{ 1 0 }\n");
    EXPECT_EQ(unsupported.status, ioBadData);
    EXPECT_TRUE(mentions(unsupported, "ioPacketFile: A packet type: 'mystery'\n"));

    Outcome badString = readText(head + "{ 0 1 3 no quotes }\n{ 1 0 }\n");
    EXPECT_EQ(badString.status, ioBadData);
    EXPECT_TRUE(mentions(badString, "no well-formed string"));
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
    auto start = std::chrono::steady_clock::now();
    ioTest::ReadOutcome outcome = ioTest::readFile(path, registry);
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(outcome.status, ioOk);
    EXPECT_LT(seconds, 2.0);
    EXPECT_EQ(targets[0], objects[0].get());
    EXPECT_EQ(targets[1], objects[1].get());
    // 4294967295 reads as -1 in an int: no reference.
    EXPECT_EQ(targets[2], nullptr);
    EXPECT_EQ(targets[4], objects[4].get());
}

TEST(BadInput, CutAndDamagedSceneFilesNeverGoWrong)
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
        for (size_t length = 0; length < whole.size(); length += 1 + length / 50) {
            qvTest::writeFileBytes(cutPath, whole.substr(0, length));
            qvTest::Scene copy;
            qvTest::SceneReadResult result = qvTest::readSceneFile(copy, cutPath);
            EXPECT_TRUE(!result.opened || result.status == ioBadData || (ascii && length + 1 == whole.size()))
                << method << " cut at " << length;
        }

        // Damaged bytes end in any status or a fatal error, but never crash, hang or overread:
        // the text's syntax characters, or any byte of a binary file's packets.
        std::mt19937 random(11 + method);
        const char syntax[] = "{}[]<>\\\" 0123456789-\n\xff";
        size_t from = ascii ? 0 : whole.find("\n@\n", whole.find("\n@\n") + 3) + 3;
        for (int round = 0; round < 300; ++round) {
            std::string damaged = whole;
            for (int i = 1 + static_cast<int>(random() % 8); i > 0; --i)
                damaged[from + random() % (whole.size() - from)] =
                    ascii ? syntax[random() % (sizeof syntax - 1)] : static_cast<char>(random());
            qvTest::writeFileBytes(cutPath, damaged);
            qvTest::Scene copy;
            try {
                qvTest::readSceneFile(copy, cutPath);
            } catch (const ErrorCapture::FatalError&) {
            }
        }
    }
}
