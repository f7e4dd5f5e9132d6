#include "ioTestHelpers.h"
#include "qvTestScene.h"

#include <gtest/gtest.h>

#include <algorithm>

TEST(SceneRoundTrip, AsciiFileGivesBackEveryObjectAndReference)
{
    qvTest::TempDir dir;
    for (unsigned seed : {1u, 2u, 3u}) {
        qvTest::Scene scene = qvTest::makeScene({3000, seed, 12, 0});
        std::string path = dir.file("scene" + std::to_string(seed) + ".qv");
        ASSERT_EQ(qvTest::writeSceneFile(scene, path, ioWriteAscii), ioOk);

        qvTest::Scene copy;
        qvTest::SceneReadResult result = qvTest::readSceneFile(copy, path);
        ASSERT_TRUE(result.opened);
        EXPECT_EQ(result.status, ioOk);
        EXPECT_EQ(qvTest::compareScenes(scene, copy), "") << "seed " << seed;
        // 3000 objects plus one string packet per material.
        EXPECT_EQ(result.packetsRead, 3000 + static_cast<int>(scene.materials.size()));
        EXPECT_TRUE(result.unresolved.empty());
        std::sort(result.unreferenced.begin(), result.unreferenced.end());
        EXPECT_EQ(result.unreferenced, qvTest::expectedUnreferenced(scene));
    }
}

TEST(SceneRoundTrip, DanglingReferencesAreReportedToTheTypeThatUsedThem)
{
    qvTest::TempDir dir;
    qvTest::Scene scene = qvTest::makeScene({800, 9, 4, 6});
    long dangling = std::count_if(scene.nodes.begin(), scene.nodes.end(),
                                  [&](const auto& node) { return node->link == &scene.missing; });
    ASSERT_GT(dangling, 0);
    std::string path = dir.file("dangling.qv");
    ASSERT_EQ(qvTest::writeSceneFile(scene, path, ioWriteAscii), ioOk);

    qvTest::Scene copy;
    qvTest::SceneReadResult result = qvTest::readSceneFile(copy, path);
    EXPECT_EQ(result.status, ioOk);
    EXPECT_EQ(qvTest::compareScenes(scene, copy), "");
    EXPECT_EQ(result.unresolved, std::vector<std::string>(static_cast<size_t>(dangling), "scene_node"));
    std::sort(result.unreferenced.begin(), result.unreferenced.end());
    EXPECT_EQ(result.unreferenced, qvTest::expectedUnreferenced(scene));
}
