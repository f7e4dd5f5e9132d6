#include "ioFilterTestHelpers.h"
#include "ioTestHelpers.h"
#include "qvTestScene.h"

#include <gtest/gtest.h>

using ioTest::Filter;

namespace {

bool hasCompress(const std::vector<Filter>& stack)
{
    return std::find(stack.begin(), stack.end(), Filter::compress) != stack.end();
}

void expectFileRoundTrip(const std::string& path, const std::vector<Filter>& stack, const std::string& payload)
{
    const std::string trailer = "plain trailer\n";
    {
        ioBufferedStreamOutput out;
        out.openFile(path.c_str());
        ioTest::writeFiltered(out, stack, payload, trailer);
        ASSERT_TRUE(out.good()) << ioTest::stackName(stack);
    }
    ioBufferedStreamInput in;
    in.openFile(path.c_str());
    ioTest::FilteredRead read = ioTest::readFiltered(in, stack, payload.size(), trailer.size() + 1);
    in.close();
    ASSERT_EQ(read.status, ioStreamOk) << ioTest::stackName(stack) << " size " << payload.size();
    ASSERT_TRUE(read.payload == payload) << ioTest::stackName(stack) << " size " << payload.size();
    if (hasCompress(stack)) {
        ASSERT_EQ(read.endStatus, ioStreamEndOfSection) << ioTest::stackName(stack);
    }
    ASSERT_EQ(read.trailer, trailer) << ioTest::stackName(stack) << " size " << payload.size();
}

} // namespace

TEST(FilterStacks, EveryOrderOfFiltersRoundTripsOverFiles)
{
    qvTest::TempDir dir;
    std::string data = ioTest::mixedData(70000, 21) + ioTest::randomData(30000, 22);
    for (const auto& stack : ioTest::everyStack()) {
        for (size_t size : {0u, 1u, 2u, 15u, 16u, 17u, 255u, 256u, 4095u, 4096u, 4097u, 9000u, 100000u}) {
            if (size == 0 && hasCompress(stack))
                continue; // an empty compressed section has no magic: writers avoid it
            expectFileRoundTrip(dir.file("stack.bin"), stack, data.substr(0, size));
        }
    }
}

TEST(FilterStacks, SceneThroughFiltersAfterTheRegistry)
{
    const qvTest::Scene scene = qvTest::makeScene({800, 31, 10, 3});
    qvTest::TempDir dir;
    std::string path = dir.file("scene.qv");
    for (const auto& stack : ioTest::everyStack()) {
        {
            ioBufferedStreamOutput out;
            out.openFile(path.c_str());
            auto push = [&] {
                for (Filter f : stack)
                    ioTest::setFilter(out, f, true);
            };
            ASSERT_EQ(qvTest::writeScene(scene, out, ioWriteAscii, push), ioOk) << ioTest::stackName(stack);
            for (size_t i = stack.size(); i-- > 0;)
                ioTest::setFilter(out, stack[i], false);
            out.close();
            ASSERT_TRUE(out.good());
        }
        // The header and the registry stay plain text.
        std::string bytes = qvTest::readFileBytes(path);
        EXPECT_EQ(bytes.compare(0, 10, std::string(ioTest::asciiHeader()).substr(0, 10)), 0);
        EXPECT_NE(bytes.find(" scene_node\n"), std::string::npos);

        ioBufferedStreamInput in;
        in.openFile(path.c_str());
        qvTest::Scene copy;
        auto push = [&] {
            for (Filter f : stack)
                ioTest::setFilter(in, f, true);
        };
        qvTest::SceneReadResult result = qvTest::readScene(copy, in, push);
        in.close();
        EXPECT_EQ(result.status, ioOk) << ioTest::stackName(stack);
        EXPECT_EQ(qvTest::compareScenes(scene, copy), "") << ioTest::stackName(stack);
    }

    // Filters around the whole file (header and registry inside) read back as well.
    {
        ioBufferedStreamOutput out;
        out.openFile(path.c_str());
        out.checksum(true);
        out.compress(true);
        ASSERT_EQ(qvTest::writeScene(scene, out, ioWriteAscii), ioOk);
        out.compress(false);
        out.checksum(false);
        out.close();
    }
    ioBufferedStreamInput in;
    in.openFile(path.c_str());
    in.checksum(true);
    in.compress(true);
    qvTest::Scene copy;
    EXPECT_EQ(qvTest::readScene(copy, in).status, ioOk);
    in.close();
    EXPECT_EQ(qvTest::compareScenes(scene, copy), "");
}
