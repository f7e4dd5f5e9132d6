#include "ioTestHelpers.h"
#include "qvTestScene.h"

#include <gtest/gtest.h>

#include <cstdlib>

// Binary scene files written by the library and committed: every platform must write the same
// bytes (fixed-width fields, one byte order) and read the committed bytes back to the same
// scene. Set QVBASE_REGENERATE_GOLDEN=1 to rewrite them after a deliberate format change.
TEST(GoldenFile, BinaryMethodsWriteAndReadTheCommittedBytes)
{
    const qvTest::Scene scene = qvTest::makeScene({60, 21, 3, 2});
    qvTest::TempDir dir;
    for (ioWriteMethod method : {ioWriteBinary, ioWriteBinaryDebug}) {
        const std::string golden =
            qvTest::dataFile(method == ioWriteBinary ? "io_scene_binary.qv" : "io_scene_binary_debug.qv");
        std::string path = dir.file("scene.qv");
        ASSERT_EQ(qvTest::writeSceneFile(scene, path, method), ioOk);
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
}
