#include "ioPacketFileAscii.h"
#include "ioTestHelpers.h"

#include <gtest/gtest.h>

using ioTest::ErrorCapture;
using ioTest::LambdaType;
using ioTest::TestRegistry;

namespace {

// The registry text of a file with one type of its own.
std::string registryOf(const std::string& name)
{
    return "   0 packetFile_string\n   1 packetFile_EOF\n   2 " + name + "\n@\n";
}

} // namespace

// The written header is checked with each format's bytes; here the reading side.
TEST(Header, ReadMethodsAndBadHeaders)
{
    qvTest::TempDir dir;
    std::string path = dir.file("h");
    const std::string sizes = "\n1 2 4 8 4 8 4\n@\n";
    // Binary files in this machine's byte order are read as they are, the others swapped.
    const std::string same = "^@\n1\n" + ioTest::hostOrderFlag(), other = "^@\n1\n" + ioTest::otherOrderFlag();
    const struct {
        std::string text;
        bool valid;
        ioReadMethod method;
    } cases[] = {
        {"^@\n1\n1 0 1" + sizes, true, ioReadAscii},
        {same + " 1 1" + sizes, true, ioReadBinarySameEndian},
        {other + " 1 1" + sizes, true, ioReadBinarySwapped},
        {same + " 3 1" + sizes, true, ioReadBinaryDebugSameEndian},
        {other + " 3 1" + sizes, true, ioReadBinaryDebugSwapped},
        {"^@\n1\n1 2 1" + sizes, true, ioReadAsciiDebug},
        {"^@\n1\n1 7 1" + sizes, true, ioReadUnknown},
        {"^@\n1\n1 1 0" + sizes, false, ioReadBinarySameEndian},
        // Other sizes: binary files cannot be read, text ones can.
        {"^@\n1\n1 1 1\n1 2 4 4 4 8 4\n@\n", false, ioReadBinarySameEndian},
        {"^@\n1\n1 0 1\n1 2 4 4 4 8 4\n@\n", true, ioReadAscii},
        {"^@\n1\n1 0 1\n1 2 4 8 4 8 4\nextra words\n@\n", true, ioReadAscii},
        {"^@\r\n1\n1 0 1\n", false, ioReadUnknown},
        {"@^\n", false, ioReadUnknown},
        {"", false, ioReadUnknown},
        {"^@\n1\n1 0 1\n1 2 4 8 4 8 4\n", false, ioReadAscii},
    };
    for (const auto& c : cases) {
        qvTest::writeFileBytes(path, c.text);
        ioBufferedStreamInput in;
        in.openFile(path.c_str());
        ioHeader header;
        EXPECT_EQ(header.readHeader(in), c.valid) << c.text;
        EXPECT_TRUE(!c.valid || header.determineReadMethod() == c.method) << c.text;
    }
}

TEST(Registry, NumbersTypesAndReadsTheFileRegistry)
{
    qvTest::TempDir dir;
    std::string path = dir.file("r");
    TestRegistry writer(false, {new LambdaType("alpha"), new LambdaType("a_name_longer_than_four")});
    writer.init();
    EXPECT_EQ(writer.lookup(3), writer.lookup("a_name_longer_than_four"));
    EXPECT_EQ(writer.lookup(4), nullptr);
    EXPECT_EQ(writer.lookup(-1), nullptr);
    ioBufferedStreamOutput out;
    out.openFile(path.c_str());
    writer.writeRegistry(out);
    out.close();
    EXPECT_EQ(qvTest::readFileBytes(path), "   0 packetFile_string\n   1 packetFile_EOF\n   2 alpha\n"
                                           "   3 a_name_longer_than_four\n@\n");

    auto readRegistryText = [&](const std::string& text, ioPacketRegistry& registry) {
        qvTest::writeFileBytes(path, text);
        ioBufferedStreamInput in;
        in.openFile(path.c_str());
        return registry.readRegistry(in);
    };
    TestRegistry gap(true, {new LambdaType("a"), new LambdaType("b"), new LambdaType("c")});
    gap.init();
    EXPECT_EQ(readRegistryText("0 a\n1 b\n3 c\n@\n", gap), ioBadData);
    EXPECT_EQ(gap.lookup("b")->getId(), 1);
    EXPECT_EQ(gap.lookup("c")->getId(), -1);
    EXPECT_NE(std::string(gap.readProblem()).find("3 follows 1"), std::string::npos);

    // Unknown names become plain types; the file's order decides the numbers.
    TestRegistry reader(true, {new LambdaType("b")});
    reader.init();
    EXPECT_EQ(readRegistryText("7 b\n8 unknown\n@\n", reader), ioOk);
    EXPECT_EQ(reader.lookup(0), reader.lookup("b"));
    ASSERT_NE(reader.lookup(1), nullptr);
    EXPECT_STREQ(reader.lookup(1)->getName(), "unknown");

    TestRegistry cut(true), garbage(true);
    EXPECT_EQ(readRegistryText("0 a\n1 b\n", cut), ioError);
    EXPECT_EQ(readRegistryText("zzz\n@\n", garbage), ioBadData);
}

TEST(WriteContext, MisuseSetsErrorAndTheEndOfFileStillFollows)
{
    qvTest::TempDir dir;
    ErrorCapture errors;
    {
        ioBufferedStreamOutput out;
        out.openFile(dir.file("none").c_str());
        std::unique_ptr<ioWriteContext> ctx(ioWriteContextAlloc(out, ioWriteAscii, nullptr));
        ctx->startFile();
        EXPECT_EQ(ctx->getStatus(), ioError);
        EXPECT_TRUE(ctx->isStarted());
        out.close();
        EXPECT_EQ(qvTest::readFileBytes(dir.file("none")), "");
    }
    TestRegistry registry(false, {new LambdaType("t")});
    ioStatus status = ioOk;
    std::string file = ioTest::writeMethodFile(dir.file("open"), registry, ioWriteAscii, [&](ioWriteContext& ctx) {
        ctx.startPacket("t");
        ctx.writeInt(1);
    }, &status);
    EXPECT_EQ(status, ioError);
    EXPECT_EQ(file, std::string(ioTest::asciiHeader()) + registryOf("t") + "{ 1 0 }\n");

    // Eleven nested packets outgrow the first packet stack; inner packets are written first.
    TestRegistry nested(false, {new LambdaType("t")});
    file = ioTest::writeMethodFile(dir.file("nested"), nested, ioWriteAscii, [&](ioWriteContext& ctx) {
        for (int level = 0; level < 11; ++level) {
            ctx.startPacket("t");
            ctx.writeInt(level);
        }
        for (int level = 0; level < 11; ++level)
            ctx.endPacket();
    }, &status);
    EXPECT_EQ(status, ioOk);
    EXPECT_NE(file.find("@\n{ 2 0 10 }\n{ 2 0 9 }\n"), std::string::npos);
    EXPECT_NE(file.find("{ 2 0 0 }\n{ 1 0 }\n"), std::string::npos);
}

// Forward, backward and never-defined references, then the context's own reference calls around
// what the reference map already does.
TEST(ReadContext, ReferencesResolveAndWhatIsLeftIsReported)
{
    qvTest::TempDir dir;
    struct Item {
        int value = 0;
        Item* next = nullptr;
    };
    Item a{1}, b{2}, c{3}, ghost{4};
    a.next = &b;     // forward
    b.next = &a;     // backward: a cycle
    c.next = &ghost; // never written: unresolved
    TestRegistry writer(false, {new LambdaType("item"), new LambdaType("p")});
    int x = 0, y = 0;
    ioTest::writeMethodFile(dir.file("refs"), writer, ioWriteAscii, [&](ioWriteContext& ctx) {
        for (Item* item : {&a, &b, &c}) {
            ctx.startPacket("item", item);
            ctx.writeInt(item->value);
            ctx.writeReference(item->next, false);
            ctx.endPacket();
        }
        ctx.startPacket("p");
        for (const void* object : std::vector<const void*>{&x, &x, &y, nullptr})
            ctx.writeReference(object, false);
        ctx.endPacket();
    });

    std::vector<std::unique_ptr<Item>> items;
    LambdaType* itemType = new LambdaType("item", [&](ioClientReadContext& ctx) {
        Item* item = items.emplace_back(std::make_unique<Item>()).get();
        ctx->definePacketReference(item);
        item->value = ctx->readInt();
        ctx->readReferenceUsage(&item->next, item->value);
    });
    int o1 = 0, o2 = 0, o3 = 0, direct = 0;
    LambdaType* directType = new LambdaType("p", [&](ioClientReadContext& ctx) {
        ioReadContext& r = ctx.context();
        int first = 0;
        EXPECT_EQ(r.readReferenceUsage(first), nullptr); // 5 is not defined yet
        EXPECT_EQ(first, 5);
        r.defineReference(5, &o1);
        r.defineReferenceSynonym(5, &o3);
        EXPECT_EQ(r.getReference(&o3), 5);
        EXPECT_EQ(r.readReferenceUsage(), &o1);
        EXPECT_EQ(r.readReferenceDefinition(&o2), 6);
        EXPECT_EQ(r.getReferenceDefinition(6), &o2);
        r.undefineReference(&o2);
        EXPECT_FALSE(r.isReferenceDefined(6));
        EXPECT_EQ(r.readReference(), 0);
        EXPECT_EQ(r.getReferenceDefinition(-5), nullptr);
        EXPECT_EQ(r.getReferenceDefinition(123456), nullptr);
        void* slot = &x;
        r.resolveReference(0, &slot, 0);
        EXPECT_EQ(slot, nullptr);
        r.resolveReference(9, &slot, 77);
        // Waiting slots are filled in one pass, which each report runs first.
        r.defineReference(9, &y);
        r.reportUnresolvedPtrs(nullptr, [](void*, int) {});
        EXPECT_EQ(slot, &y);
        ++direct;
    });
    TestRegistry reader(true, {itemType, directType});
    EXPECT_EQ(ioTest::readFile(dir.file("refs"), reader).status, ioOk);
    EXPECT_EQ(direct, 1);
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[0]->next, items[1].get());
    EXPECT_EQ(items[1]->next, items[0].get());
    EXPECT_EQ(items[2]->next, nullptr);
    ASSERT_EQ(itemType->unresolved.size(), 1u);
    EXPECT_EQ(itemType->unresolved[0], std::make_pair(static_cast<void*>(&items[2]->next), 3));
    EXPECT_EQ(itemType->unreferenced, std::vector<void*>{items[2].get()});
    EXPECT_TRUE(itemType->isUnresolved() && itemType->isUnreferenced());
    EXPECT_EQ(itemType->getNumUsages(), 3);
}

TEST(ReadContext, HaltSkippedPacketsAndMissingDefinitions)
{
    qvTest::TempDir dir;
    std::string path = dir.file("f");
    std::string head = std::string(ioTest::asciiHeader()) + registryOf("p");

    // Flags 2 and above skip the packet, which still counts.
    qvTest::writeFileBytes(path, head + "{ 2 2 99 }\n{ 2 0 5 }\n{ 1 0 }\n");
    std::vector<int> seen;
    TestRegistry reader(true, {new LambdaType("p", [&](ioClientReadContext& ctx) {
        seen.push_back(ctx->readInt());
    })});
    ioTest::ReadOutcome outcome = ioTest::readFile(path, reader);
    EXPECT_EQ(outcome.status, ioOk);
    EXPECT_EQ(outcome.packets, 2);
    EXPECT_EQ(seen, std::vector<int>{5});

    // halt() inside a read ends with ioHalted and leaves references unreported; the slots of
    // objects read before the halt are filled all the same.
    qvTest::writeFileBytes(path, head + "{ 2 1 1 2 }\n{ 2 1 2 0 }\n{ 2 0 6 }\n{ 1 0 }\n");
    int objects[2] = {0, 0};
    void* slots[2] = {&path, &path};
    int packet = 0;
    LambdaType* halting = new LambdaType("p", [&](ioClientReadContext& ctx) {
        ctx->definePacketReference(&objects[packet]);
        ctx->readReferenceUsage(&slots[packet], 0);
        if (++packet == 2)
            ctx->halt();
    });
    TestRegistry haltReader(true, {halting});
    outcome = ioTest::readFile(path, haltReader);
    EXPECT_EQ(outcome.status, ioHalted);
    EXPECT_EQ(outcome.packets, 2);
    EXPECT_EQ(slots[0], &objects[1]);
    EXPECT_EQ(slots[1], nullptr);
    EXPECT_TRUE(halting->unreferenced.empty());

    // A packet with a reference that its read never defines is a fatal error.
    ErrorCapture errors;
    TestRegistry careless(true, {new LambdaType("p", [](ioClientReadContext& ctx) { ctx->readInt(); })});
    EXPECT_THROW(ioTest::readFile(path, careless), ErrorCapture::FatalError);
    EXPECT_EQ(errors.messages(), "ioPacketFile: A packet type: 'p'\n"
                                 "  had a reference associated with it but no \n"
                                 "  definition was provided by the client code.\n"
                                 "  The undefined reference is: 0.\n"
                                 "ioPacketFile: Fatal error.  Aborting.\n");
}
