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
