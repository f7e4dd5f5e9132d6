#include "ioFilterTestHelpers.h"
#include "ioTestHelpers.h"
#include "qvTestScene.h"

#include <gtest/gtest.h>

#include <cstdlib>

// A scene file compressed and checksummed after its registry, committed: every platform must
// write the same bytes and read the committed bytes back to the same scene. Set
// QVBASE_REGENERATE_GOLDEN=1 to rewrite it after a deliberate format change.
TEST(FilterGoldenFile, EveryPlatformWritesAndReadsTheCommittedBytes)
{
    const qvTest::Scene scene = qvTest::makeScene({300, 41, 6, 2});
    const std::string golden = qvTest::dataFile("io_scene_compressed_checksummed.qv");
    qvTest::TempDir dir;
    std::string path = dir.file("scene.qv");
    {
        ioBufferedStreamOutput out;
        out.openFile(path.c_str());
        auto push = [&] {
            out.checksum(true);
            out.compress(true);
        };
        ASSERT_EQ(qvTest::writeScene(scene, out, ioWriteAscii, push), ioOk);
        out.compress(false);
        out.checksum(false);
        out.close();
    }
    if (std::getenv("QVBASE_REGENERATE_GOLDEN"))
        qvTest::writeFileBytes(golden, qvTest::readFileBytes(path));

    std::string expected = qvTest::readFileBytes(golden);
    ASSERT_FALSE(expected.empty()) << golden;
    EXPECT_TRUE(qvTest::readFileBytes(path) == expected) << "written bytes differ from " << golden;

    ioBufferedStreamInput in;
    in.openFile(golden.c_str());
    qvTest::Scene copy;
    qvTest::SceneReadResult result = qvTest::readScene(copy, in, [&] {
        in.checksum(true);
        in.compress(true);
    });
    in.close();
    EXPECT_EQ(result.status, ioOk);
    EXPECT_EQ(qvTest::compareScenes(scene, copy), "");
    EXPECT_EQ(result.unresolved.size(), 2u);
}
