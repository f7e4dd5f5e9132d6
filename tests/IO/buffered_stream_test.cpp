#include "ioFilterTestHelpers.h"
#include "qvTestSupport.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

// A bottom buffer that records the size of every write and can fail them.
class RecordingBuffer : public ioBuffer {
public:
    RecordingBuffer() : ioBuffer(false) {}
    int type() const override { return typeFD; }
    void close() override {}
    int read(char*, int) override { return 0; }
    void write(const char* data, int size) override
    {
        writes.push_back(size);
        written.append(data, static_cast<size_t>(size));
        if (failWith)
            setStatus(failWith);
    }

    std::vector<int> writes;
    std::string written;
    int failWith = 0;
};

class RecordingOutput : public ioBufferedStreamOutput {
public:
    RecordingOutput() { replaceChain(bottom = new RecordingBuffer); }
    RecordingBuffer* bottom;
};

std::vector<int> progressSeen;
void recordProgress(int total) { progressSeen.push_back(total); }

} // namespace

TEST(BufferedStream, WritesReachTheBufferInWholeAreasAndStopOnceItFailed)
{
    RecordingOutput stream;
    // writeChar hands each character straight on; bulk writes fill the 4096-byte area.
    stream.writeChar('a');
    stream.writeChar('b');
    stream.flush();
    EXPECT_EQ(stream.bottom->writes, (std::vector<int>{1, 1}));
    std::string block(5000, 'x');
    stream.writeData(block.data(), static_cast<int>(block.size()));
    stream.flush();
    EXPECT_EQ(stream.bottom->writes, (std::vector<int>{1, 1, 4096, 904}));
    // An area filled exactly goes down at once, inline or not: a peer must not wait for it.
    stream.writeData(block.data(), 4096);
    stream.writeData(block.data(), 4000);
    stream.writeData(block.data(), 96);
    EXPECT_EQ(stream.bottom->writes, (std::vector<int>{1, 1, 4096, 904, 4096, 4096}));
    // printf output is cut at 1023 characters.
    stream.bottom->written.clear();
    stream.printf("%s|%d", std::string(2000, 'p').c_str(), 42);
    stream.printf("<%d>", 7);
    stream.flush();
    EXPECT_EQ(stream.bottom->written, std::string(1023, 'p') + "<7>");
    EXPECT_TRUE(stream.good());

    RecordingOutput failing;
    failing.bottom->failWith = ioBuffer::statusIOError;
    failing.writeData(block.data(), static_cast<int>(block.size()));
    EXPECT_EQ(failing.getStatus(), ioStreamIOError);
    for (int i = 0; i < 5000; ++i)
        failing.writeChar('c');
    failing.flush();
    EXPECT_EQ(failing.bottom->writes, (std::vector<int>{4096}));
}

TEST(BufferedStream, ReadIntAndReadLineParseAsTheFormatsNeed)
{
    std::string fiftyDigits = std::string(36, '0') + "1234567890123" + "0";
    qvTest::MemoryInput numbers("  -12x 99 " + fiftyDigits + "Z");
    EXPECT_EQ(numbers.readInt(), -12);
    // The "x" that ended -12 is gone; the next number starts after the blank.
    EXPECT_EQ(numbers.readInt(), 99);
    // Only the first 39 characters are converted; the 40th is consumed.
    EXPECT_EQ(numbers.readInt(), 123);
    EXPECT_EQ(numbers.readChar(), '5');
    EXPECT_TRUE(numbers.good());

    // A line keeps its newline and is cut to size - 1 characters.
    qvTest::MemoryInput lines("first line\nsecond\nlast");
    char line[64];
    for (auto [size, expected] : std::vector<std::pair<int, const char*>>{{1, ""}, {64, "first line\n"}, {4, "sec"}, {64, "ond\n"}, {64, "last"}}) {
        lines.readLine(line, size);
        EXPECT_STREQ(line, expected);
    }
    EXPECT_EQ(lines.getStatus(), ioStreamEOF);
    std::strcpy(line, "unchanged");
    lines.readLine(line, sizeof line);
    EXPECT_STREQ(line, "unchanged");
    lines.readLine(nullptr, 10);
}

TEST(BufferedStream, WrittenFilesHoldEveryByteAndReportSizeAndProgress)
{
    qvTest::TempDir dir;
    std::string path = dir.file("bytes.bin");
    const std::string bytes = ioTest::randomData(20000, 5);

    ioBufferedStreamOutput out;
    out.openFile(path.c_str());
    progressSeen.clear();
    out.associateProgressFunction(&recordProgress);
    for (size_t at = 0, piece = 1; at < bytes.size(); at += piece, piece = piece * 7 + 3)
        out.writeData(bytes.data() + at, static_cast<int>(std::min(piece, bytes.size() - at)));
    out.close();
    EXPECT_TRUE(out.good());
    EXPECT_EQ(progressSeen, (std::vector<int>{4096, 8192, 12288, 16384, 20000}));
    EXPECT_EQ(ioBufferedStream::fileSize(path.c_str()), 20000);
    EXPECT_EQ(ioBufferedStream::fileSize(dir.file("missing").c_str()), -1);
    EXPECT_EQ(qvTest::readFileBytes(path), bytes);
}

TEST(BufferedStream, OpeningFailuresEmptyFilesAndAFullDisk)
{
    qvTest::TempDir dir;
    ioBufferedStreamInput in;
    in.openFile(dir.file("missing").c_str());
    EXPECT_EQ(in.getStatus(), ioStreamOpenFailed);
    EXPECT_EQ(in.readChar(), 0);
    in.openStdin();
    EXPECT_EQ(in.getStatus(), ioStreamOpenFailed);
    in.close();

    ioBufferedStreamOutput out;
    out.openStdout();
    EXPECT_EQ(out.getStatus(), ioStreamOpenFailed);
    out.openFile(dir.file("no/such/dir/file").c_str());
    EXPECT_EQ(out.getStatus(), ioStreamOpenFailed);
    out.openFile(dir.file("empty").c_str());
    EXPECT_TRUE(out.good());
    out.close();

    in.openFile(dir.file("empty").c_str());
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.readInt(), 0);
    EXPECT_EQ(in.getStatus(), ioStreamEOF);
    in.close();

    // A closed stream reads and writes nothing.
    EXPECT_EQ(in.readChar(), 0);
    EXPECT_EQ(in.getStatus(), ioStreamIOError);
    out.writeString("lost");
    EXPECT_EQ(out.getStatus(), ioStreamIOError);

    // A full disk is "no space", not an I/O error.
    if (std::ifstream("/dev/full")) {
        ioBufferedStreamOutput full;
        full.openFile("/dev/full");
        full.writeString("some bytes");
        full.flush();
        EXPECT_EQ(full.getStatus(), ioStreamNoSpace);
    }
}

// The descriptor buffer reads ahead of the stream: every byte arrives once, in order, whatever
// the sizes asked for, and nothing read ahead outlives its file.
TEST(BufferedStream, ReadingAheadKeepsEveryByteOfItsOwnFile)
{
    qvTest::TempDir dir;
    const std::string bytes = ioTest::randomData(3 * ioBufferFD::readAheadSize + 123, 9);
    qvTest::writeFileBytes(dir.file("a"), bytes);
    qvTest::writeFileBytes(dir.file("b"), "other");

    ioBufferedStreamInput in;
    in.openFile(dir.file("a").c_str());
    progressSeen.clear();
    in.associateProgressFunction(&recordProgress);
    std::string back(bytes.size() + 8, '\0');
    size_t at = 0;
    back[at++] = in.readChar();
    for (int piece : {1, 4095, ioBufferFD::readAheadSize, 70000})
        at += static_cast<size_t>(in.readData(&back[at], piece));
    // Asking for more than is left gives what is left.
    at += static_cast<size_t>(in.readData(&back[at], static_cast<int>(bytes.size() - at + 8)));
    EXPECT_EQ(at, bytes.size());
    EXPECT_TRUE(back.substr(0, at) == bytes);
    EXPECT_EQ(in.readData(&back[0], 1), 0);
    EXPECT_EQ(in.getStatus(), ioStreamEOF);
    EXPECT_EQ(progressSeen.back(), static_cast<int>(bytes.size()));

    ioBufferFD buffer(true);
    char data[ioBufferFD::readAheadSize + 10];
    buffer.open(dir.file("a").c_str());
    ASSERT_EQ(buffer.read(data, 10), 10);
    EXPECT_EQ(std::string(data, 10), bytes.substr(0, 10));
    EXPECT_EQ(buffer.read(data, sizeof data), ioBufferFD::readAheadSize - 10);
    EXPECT_EQ(buffer.read(data, sizeof data), static_cast<int>(sizeof data)); // straight from the file
    EXPECT_EQ(buffer.read(data, 10), 10);
    buffer.close();
    buffer.open(dir.file("b").c_str());
    ASSERT_EQ(buffer.read(data, 100), 5);
    EXPECT_EQ(std::string(data, 5), "other");
    buffer.close();
}
