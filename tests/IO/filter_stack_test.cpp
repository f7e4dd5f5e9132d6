#include "ioFilterTestHelpers.h"
#include "ioTestHelpers.h"
#include "qvTestScene.h"

#include <gtest/gtest.h>

using ioTest::Filter;

// Every order of one, two or three filters over files of sizes around the buffer area, with
// plain bytes behind the section; then a scene inside filters, header and registry included.
TEST(FilterStacks, EveryOrderOfFiltersRoundTripsBytesAndScenes)
{
    qvTest::TempDir dir;
    std::string path = dir.file("stack.qv");
    const std::string data = ioTest::mixedData(70000, 21) + ioTest::randomData(30000, 22);
    const std::string trailer = "plain trailer\n";
    const qvTest::Scene scene = qvTest::makeScene({800, 31, 10, 3});
    int stackIndex = 0;
    for (const auto& stack : ioTest::everyStack()) {
        SCOPED_TRACE(stackIndex++);
        bool compressed = std::find(stack.begin(), stack.end(), Filter::compress) != stack.end();
        // An empty compressed section has no magic: writers avoid it.
        for (size_t size : {0u, 1u, 2u, 15u, 16u, 17u, 255u, 256u, 4095u, 4096u, 4097u, 9000u, 100000u}) {
            if (size == 0 && compressed)
                continue;
            {
                ioBufferedStreamOutput out;
                out.openFile(path.c_str());
                ioTest::writeFiltered(out, stack, data.substr(0, size), trailer);
                ASSERT_TRUE(out.good());
            }
            ioBufferedStreamInput in;
            in.openFile(path.c_str());
            ioTest::FilteredRead read = ioTest::readFiltered(in, stack, size, trailer.size() + 1);
            ASSERT_EQ(read.status, ioStreamOk) << size;
            ASSERT_TRUE(read.payload == data.substr(0, size)) << size;
            ASSERT_EQ(read.endStatus, compressed ? ioStreamEndOfSection : ioStreamOk) << size;
            ASSERT_EQ(read.trailer, trailer) << size;
        }
        // A damaged byte found by a checksum next to the file is reported through the filters
        // above it, also when the decompressor above meets garbled codes first.
        for (size_t size : {9000u, 100000u}) {
            if (stack[0] != Filter::checksum)
                break;
            std::string bytes = ioTest::writeFiltered(stack, data.substr(0, size));
            bytes[bytes.size() / 2] ^= 4;
            EXPECT_EQ(ioTest::readFiltered(stack, bytes, size).status, ioStreamChecksumError) << size;
        }
    }

    // Filters around the whole file (header and registry inside) read back as well.
    const std::vector<Filter> outer = {Filter::encrypt, Filter::checksum, Filter::compress};
    {
        ioBufferedStreamOutput out;
        out.openFile(path.c_str());
        ioTest::setFilters(out, outer, true);
        ASSERT_EQ(qvTest::writeScene(scene, out, ioWriteAscii), ioOk);
        ioTest::setFilters(out, outer, false);
        out.close();
    }
    ioBufferedStreamInput in;
    in.openFile(path.c_str());
    ioTest::setFilters(in, outer, true);
    qvTest::Scene copy;
    EXPECT_EQ(qvTest::readScene(copy, in).status, ioOk);
    EXPECT_EQ(qvTest::compareScenes(scene, copy), "");
}

// A reader that knows nothing of the writer's filters finds them by their first bytes: every
// order of filters, behind plain bytes that end anywhere around the buffer area's end, and
// behind the registry of a scene file in every method.
TEST(FilterStacks, ReadersDetectTheFiltersTheWriterPushed)
{
    qvTest::TempDir dir;
    std::string path = dir.file("detect.qv");
    const std::string payload = "x" + ioTest::mixedData(9000, 5);
    const qvTest::Scene scene = qvTest::makeScene({120, 3, 4, 0});
    for (const auto& stack : ioTest::everyStack()) {
        std::vector<int> expected;
        for (Filter filter : stack)
            expected.push_back(filter == Filter::compress   ? ioBuffer::typeCompress
                               : filter == Filter::checksum ? ioBuffer::typeChecksum
                                                            : ioBuffer::typeEncrypt);
        for (int prefix : {0, 7, 4086, 4090, 4095, 4096}) {
            {
                ioBufferedStreamOutput out;
                out.openFile(path.c_str());
                std::string plain(static_cast<size_t>(prefix), 'p');
                out.writeData(plain.data(), prefix);
                ioTest::writeFiltered(out, stack, payload);
            }
            ioBufferedStreamInput in;
            in.openFile(path.c_str());
            std::string plain(static_cast<size_t>(prefix), '\0');
            in.readData(&plain[0], prefix);
            int kinds[8] = {};
            int pushed = in.pushDetectedFilters(kinds, 8);
            EXPECT_EQ(std::vector<int>(kinds, kinds + pushed), expected) << prefix;
            std::string read(payload.size(), '\0');
            EXPECT_EQ(in.readData(&read[0], static_cast<int>(read.size())), static_cast<int>(read.size()));
            EXPECT_TRUE(read == payload) << prefix;
            in.close();
        }
        for (int method = 0; method < 4; ++method) {
            SCOPED_TRACE(method);
            {
                ioBufferedStreamOutput out;
                out.openFile(path.c_str());
                ASSERT_EQ(qvTest::writeScene(scene, out, static_cast<ioWriteMethod>(method),
                                             [&] { ioTest::setFilters(out, stack, true); }), ioOk);
                ioTest::setFilters(out, stack, false);
                out.close();
            }
            ioBufferedStreamInput in;
            in.openFile(path.c_str());
            qvTest::Scene copy;
            int pushed = 0;
            qvTest::SceneReadResult result =
                qvTest::readScene(copy, in, [&](ioReadContext& ctx) { pushed = ctx.detectFilters(); });
            in.close();
            EXPECT_EQ(pushed, static_cast<int>(stack.size()));
            EXPECT_EQ(result.status, ioOk);
            EXPECT_EQ(qvTest::compareScenes(scene, copy), "");
        }
    }

    // A reader that pushes nothing is told where to look; damage under a detected checksum is
    // named in words.
    {
        ioBufferedStreamOutput out;
        out.openFile(path.c_str());
        ASSERT_EQ(qvTest::writeScene(scene, out, ioWriteBinary, [&] { out.checksum(true); }), ioOk);
        out.checksum(false);
        out.close();
    }
    std::string bytes = qvTest::readFileBytes(path);
    for (bool damaged : {false, true}) {
        if (damaged)
            bytes[bytes.size() - 100] ^= 1;
        qvTest::writeFileBytes(path, bytes);
        ioTest::ErrorCapture errors;
        ioBufferedStreamInput in;
        in.openFile(path.c_str());
        qvTest::Scene copy;
        qvTest::SceneReadResult result = qvTest::readScene(copy, in, [&](ioReadContext& ctx) {
            if (damaged)
                ctx.detectFilters();
        });
        in.close();
        EXPECT_EQ(result.status, damaged ? ioChecksumError : ioBadData);
        EXPECT_NE(errors.messages().find(damaged ? "(stream status checksum error, 5)" : "call detectFilters()"),
                  std::string::npos) << errors.messages();
    }
}
