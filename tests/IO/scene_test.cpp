#include "ioTestHelpers.h"
#include "qvTestScene.h"

#include <gtest/gtest.h>

#include <algorithm>

TEST(SceneRoundTrip, AsciiFileGivesBackEveryObjectAndReportsWhatIsLeft)
{
    qvTest::TempDir dir;
    qvTest::Scene scene = qvTest::makeScene({3000, 9, 12, 6});
    long dangling = std::count_if(scene.nodes.begin(), scene.nodes.end(),
                                  [&](const auto& node) { return node->link == &scene.missing; });
    ASSERT_GT(dangling, 0);
    std::string path = dir.file("scene.qv");
    ASSERT_EQ(qvTest::writeSceneFile(scene, path, ioWriteAscii), ioOk);

    qvTest::Scene copy;
    qvTest::SceneReadResult result = qvTest::readSceneFile(copy, path);
    ASSERT_TRUE(result.opened);
    EXPECT_EQ(result.status, ioOk);
    EXPECT_EQ(qvTest::compareScenes(scene, copy), "");
    // 3000 objects plus one string packet per material.
    EXPECT_EQ(result.packetsRead, 3000 + static_cast<int>(scene.materials.size()));
    // Dangling links are reported to the type that used them, once each.
    EXPECT_EQ(result.unresolved, std::vector<std::string>(static_cast<size_t>(dangling), "scene_node"));
    std::sort(result.unreferenced.begin(), result.unreferenced.end());
    EXPECT_EQ(result.unreferenced, qvTest::expectedUnreferenced(scene));
}
