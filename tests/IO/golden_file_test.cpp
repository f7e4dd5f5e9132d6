#include "ioFilterTestHelpers.h"
#include "ioTestHelpers.h"
#include "qvTestScene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

// Scene files written by the library and committed: every platform must write the same bytes
// (fixed-width fields, one byte order, the same number text) and read the committed bytes back
// to the same scene. Set QVBASE_REGENERATE_GOLDEN=1 to rewrite them after a deliberate format
// change.
TEST(GoldenFile, EveryPlatformWritesAndReadsTheCommittedBytes)
{
    struct Case {
        const char* file;
        ioWriteMethod method;
        bool filtered; // checksummed and compressed after the registry
        qvTest::SceneOptions options;
    };
    const Case cases[] = {
        {"io_scene_ascii.qv", ioWriteAscii, false, {60, 21, 3, 2}},
        {"io_scene_binary.qv", ioWriteBinary, false, {60, 21, 3, 2}},
        {"io_scene_binary_debug.qv", ioWriteBinaryDebug, false, {60, 21, 3, 2}},
        {"io_scene_compressed_checksummed.qv", ioWriteAscii, true, {300, 41, 6, 2}},
    };
    qvTest::TempDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        const qvTest::Scene scene = qvTest::makeScene(c.options);
        const std::string golden = qvTest::dataFile(c.file);
        std::string path = dir.file("scene.qv");
        const std::vector<ioTest::Filter> filters =
            c.filtered ? std::vector<ioTest::Filter>{ioTest::Filter::checksum, ioTest::Filter::compress}
                       : std::vector<ioTest::Filter>{};
        {
            ioBufferedStreamOutput out;
            out.openFile(path.c_str());
            ASSERT_EQ(qvTest::writeScene(scene, out, c.method, [&] { ioTest::setFilters(out, filters, true); }), ioOk);
            ioTest::setFilters(out, filters, false);
            out.close();
        }
        if (std::getenv("QVBASE_REGENERATE_GOLDEN"))
            qvTest::writeFileBytes(golden, qvTest::readFileBytes(path));

        std::string expected = qvTest::readFileBytes(golden);
        ASSERT_FALSE(expected.empty()) << golden;
        // The committed binary files are little-endian: a big-endian machine writes its own order
        // (the exchange between builds compares those) and reads these through its swapped readers.
        const bool binary = c.method == ioWriteBinary || c.method == ioWriteBinaryDebug;
        if (qvOS::hostIsLittleEndian || !binary) {
            EXPECT_TRUE(qvTest::readFileBytes(path) == expected) << "written bytes differ from " << golden;
        }

        ioBufferedStreamInput in;
        in.openFile(golden.c_str());
        qvTest::Scene copy;
        qvTest::SceneReadResult result = qvTest::readScene(copy, in, [&](ioReadContext&) { ioTest::setFilters(in, filters, true); });
        in.close();
        EXPECT_EQ(result.status, ioOk);
        EXPECT_EQ(qvTest::compareScenes(scene, copy), "");
        // Dangling links are reported to the type that used them; so is every object nobody
        // refers to.
        EXPECT_EQ(result.unresolved, std::vector<std::string>(2, "scene_node"));
        std::sort(result.unreferenced.begin(), result.unreferenced.end());
        EXPECT_EQ(result.unreferenced, qvTest::expectedUnreferenced(scene));
        // One packet per object, plus one string packet per material.
        EXPECT_EQ(result.packetsRead, c.options.objects + static_cast<int>(scene.materials.size()));
    }
}
