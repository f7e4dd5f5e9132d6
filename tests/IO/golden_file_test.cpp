#include "ioTestHelpers.h"
#include "qvTestScene.h"

#include <gtest/gtest.h>

#include <cstdlib>

// A scene file written by the library and committed: every platform must write the same bytes
// and read the committed bytes back to the same scene. Set QVBASE_REGENERATE_GOLDEN=1 to
// rewrite it after a deliberate format change.
TEST(GoldenFile, EveryPlatformWritesAndReadsTheCommittedBytes)
{
    const qvTest::Scene scene = qvTest::makeScene({60, 21, 3, 2});
    const std::string golden = qvTest::dataFile("io_scene_ascii.qv");
    qvTest::TempDir dir;
    std::string path = dir.file("scene.qv");
    ASSERT_EQ(qvTest::writeSceneFile(scene, path, ioWriteAscii), ioOk);
    if (std::getenv("QVBASE_REGENERATE_GOLDEN"))
        qvTest::writeFileBytes(golden, qvTest::readFileBytes(path));

    std::string expected = qvTest::readFileBytes(golden);
    ASSERT_FALSE(expected.empty()) << golden;
    EXPECT_TRUE(qvTest::readFileBytes(path) == expected) << "written bytes differ from " << golden;

    qvTest::Scene copy;
    qvTest::SceneReadResult result = qvTest::readSceneFile(copy, golden);
    EXPECT_EQ(result.status, ioOk);
    EXPECT_EQ(qvTest::compareScenes(scene, copy), "");
    EXPECT_EQ(result.unresolved.size(), 2u);
}
