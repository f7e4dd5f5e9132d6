// Writes the test scene in every method and filter stack into a folder, or reads such a folder
// (written by any build of the library) and compares each file with the scene it must hold.
//
//     scene_exchange write DIR   the files, and DIR/ORDER with this build's byte order
//     scene_exchange read DIR    exit 0 when every file reads back to the scene
#include "ioBufferedStream.h"
#include "ioHeader.h"
#include "qvOSByteOrder.h"
#include "qvTestScene.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

enum Filter { compress, checksum, encrypt };

struct Case {
    const char* file;
    ioWriteMethod method;
    std::vector<Filter> filters; // pushed in this order after the registry
};

const Case cases[] = {
    {"ascii.qv", ioWriteAscii, {}},
    {"binary.qv", ioWriteBinary, {}},
    {"ascii-debug.qv", ioWriteAsciiDebug, {}},
    {"binary-debug.qv", ioWriteBinaryDebug, {}},
    {"ascii-checksummed-compressed.qv", ioWriteAscii, {checksum, compress}},
    {"binary-checksummed-compressed.qv", ioWriteBinary, {checksum, compress}},
    {"binary-debug-compressed-encrypted.qv", ioWriteBinaryDebug, {compress, encrypt}},
};

void setFilters(ioBufferedStream& stream, const std::vector<Filter>& filters, bool on)
{
    static void (ioBufferedStream::*const set[])(bool) = {&ioBufferedStream::compress, &ioBufferedStream::checksum,
                                                          &ioBufferedStream::encrypt};
    for (size_t i = 0; i < filters.size(); ++i)
        (stream.*set[filters[on ? i : filters.size() - 1 - i]])(on);
}

qvTest::Scene scene()
{
    return qvTest::makeScene({300, 21, 6, 2});
}

int writeAll(const std::string& dir)
{
    const qvTest::Scene expected = scene();
    for (const Case& c : cases) {
        ioBufferedStreamOutput out;
        out.openFile((dir + "/" + c.file).c_str());
        ioStatus status = qvTest::writeScene(expected, out, c.method, [&] { setFilters(out, c.filters, true); });
        setFilters(out, c.filters, false);
        out.close();
        if (status != ioOk || !out.good()) {
            std::fprintf(stderr, "scene_exchange: writing %s failed (status %d)\n", c.file, status);
            return 1;
        }
    }
    std::FILE* order = std::fopen((dir + "/ORDER").c_str(), "wb");
    if (!order)
        return 1;
    std::fputs(qvOS::hostIsLittleEndian ? "little\n" : "big\n", order);
    std::fclose(order);
    std::printf("wrote %d files\n", static_cast<int>(sizeof cases / sizeof cases[0]));
    return 0;
}

int readAll(const std::string& dir)
{
    const qvTest::Scene expected = scene();
    int equal = 0, swapped = 0, failed = 0;
    for (const Case& c : cases) {
        const std::string path = dir + "/" + c.file;
        ioBufferedStreamInput in;
        in.openFile(path.c_str());
        ioHeader header;
        const bool valid = header.readHeader(in);
        in.close();
        const ioReadMethod method = header.determineReadMethod();
        swapped += valid && (method == ioReadBinarySwapped || method == ioReadBinaryDebugSwapped);

        in.openFile(path.c_str());
        qvTest::Scene copy;
        qvTest::SceneReadResult result = qvTest::readScene(copy, in, [&](ioReadContext&) { setFilters(in, c.filters, true); });
        in.close();
        const std::string difference = qvTest::compareScenes(expected, copy);
        if (!valid || result.status != ioOk || !difference.empty()) {
            std::fprintf(stderr, "scene_exchange: %s: status %d %s\n", path.c_str(), result.status, difference.c_str());
            ++failed;
        } else {
            ++equal;
        }
    }
    std::printf("read %d files: %d equal (%d through the swapped readers), %d failed\n", equal + failed, equal,
                swapped, failed);
    return failed ? 1 : 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 3 && std::strcmp(argv[1], "write") == 0)
        return writeAll(argv[2]);
    if (argc == 3 && std::strcmp(argv[1], "read") == 0)
        return readAll(argv[2]);
    std::fprintf(stderr, "usage: scene_exchange write|read DIR\n");
    return 2;
}
