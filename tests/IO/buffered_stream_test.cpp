#include "ioBufferedStream.h"
#include "qvTestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {

// A bottom buffer that records every write and serves reads from a string.
class RecordingBuffer : public ioBuffer {
public:
    explicit RecordingBuffer(bool input, std::string source = "")
        : ioBuffer(input), source(std::move(source))
    {
    }
    int type() const override { return typeFD; }
    void close() override { closed = true; }
    int read(char* data, int size) override
    {
        if (offset >= source.size()) {
            setStatus(statusEndOfFile);
            return 0;
        }
        int n = std::min<int>(size, static_cast<int>(source.size() - offset));
        std::memcpy(data, source.data() + offset, static_cast<size_t>(n));
        offset += static_cast<size_t>(n);
        return n;
    }
    void write(const char* data, int size) override
    {
        writes.push_back(size);
        written.append(data, static_cast<size_t>(size));
        if (failWith)
            setStatus(failWith);
    }

    std::string source;
    size_t offset = 0;
    std::vector<int> writes;
    std::string written;
    int failWith = 0;
    bool closed = false;
};

class TestOutput : public ioBufferedStreamOutput {
public:
    void use(ioBuffer* buffer) { replaceChain(buffer); }
};

class TestInput : public ioBufferedStreamInput {
public:
    void use(ioBuffer* buffer) { replaceChain(buffer); }
};

std::vector<int> progressSeen;
void recordProgress(int total)
{
    progressSeen.push_back(total);
}

} // namespace

TEST(BufferedStream, WriteCharHandsEachCharacterOnAndBulkWritesFillTheArea)
{
    TestOutput stream;
    RecordingBuffer* bottom = new RecordingBuffer(false);
    stream.use(bottom);
    stream.writeChar('a');
    stream.writeChar('b');
    stream.flush();
    EXPECT_EQ(bottom->writes, (std::vector<int>{1, 1}));
    EXPECT_EQ(bottom->written, "ab");

    bottom->writes.clear();
    std::string block(5000, 'x');
    stream.writeData(block.data(), static_cast<int>(block.size()));
    EXPECT_EQ(bottom->writes, (std::vector<int>{4096}));
    stream.flush();
    EXPECT_EQ(bottom->writes, (std::vector<int>{4096, 904}));
    stream.close();
    EXPECT_TRUE(stream.good());
}

TEST(BufferedStream, PrintfCutsAt1023Characters)
{
    TestOutput stream;
    RecordingBuffer* bottom = new RecordingBuffer(false);
    stream.use(bottom);
    std::string longText(2000, 'p');
    stream.printf("%s|%d", longText.c_str(), 42);
    stream.printf("<%d>", 7);
    stream.flush();
    EXPECT_EQ(bottom->written, std::string(1023, 'p') + "<7>");
    stream.close();
}

TEST(BufferedStream, ReadIntSkipsBlanksKeepsTheSignAndEatsTheTerminator)
{
    std::string fiftyDigits = std::string(36, '0') + "123" + "4567890123" + "0";
    TestInput second;
    second.use(new RecordingBuffer(true, "  -12x 99 " + fiftyDigits + "Z"));
    EXPECT_EQ(second.readInt(), -12);
    // The "x" that ended -12 is gone; the next number starts after the blank.
    EXPECT_EQ(second.readInt(), 99);
    // Only the first 39 characters are converted; the 40th is consumed.
    EXPECT_EQ(second.readInt(), 123);
    EXPECT_EQ(second.readChar(), '5');
    EXPECT_TRUE(second.good());
    second.close();
}

TEST(BufferedStream, ReadLineKeepsTheNewlineAndHonoursTheSize)
{
    TestInput stream;
    stream.use(new RecordingBuffer(true, "first line\nsecond\nlast"));
    char line[64];
    stream.readLine(line, 1);
    EXPECT_STREQ(line, "");
    stream.readLine(line, sizeof line);
    EXPECT_STREQ(line, "first line\n");
    stream.readLine(line, 4);
    EXPECT_STREQ(line, "sec");
    stream.readLine(line, sizeof line);
    EXPECT_STREQ(line, "ond\n");
    stream.readLine(line, sizeof line);
    EXPECT_STREQ(line, "last");
    EXPECT_EQ(stream.getStatus(), ioStreamEOF);
    std::strcpy(line, "unchanged");
    stream.readLine(line, sizeof line);
    EXPECT_STREQ(line, "unchanged");
    stream.readLine(nullptr, 10);
    stream.close();
}

TEST(BufferedStream, FilesRoundTripAndReportSizeAndProgress)
{
    qvTest::TempDir dir;
    std::string path = dir.file("bytes.bin");
    std::mt19937 random(5);
    std::string bytes(20000, '\0');
    for (char& c : bytes)
        c = static_cast<char>(random());

    ioBufferedStreamOutput out;
    out.openFile(path.c_str());
    ASSERT_TRUE(out.good());
    progressSeen.clear();
    out.associateProgressFunction(&recordProgress);
    size_t at = 0;
    for (int piece : {1, 4095, 2, 8192, 3000})
        out.writeData(bytes.data() + at, piece), at += static_cast<size_t>(piece);
    out.writeData(bytes.data() + at, static_cast<int>(bytes.size() - at));
    out.close();
    EXPECT_TRUE(out.good());
    EXPECT_EQ(progressSeen, (std::vector<int>{4096, 8192, 12288, 16384, 20000}));
    EXPECT_EQ(ioBufferedStream::fileSize(path.c_str()), 20000);
    EXPECT_EQ(ioBufferedStream::fileSize(nullptr), -1);
    EXPECT_EQ(ioBufferedStream::fileSize(dir.file("missing").c_str()), -1);
    EXPECT_EQ(qvTest::readFileBytes(path), bytes);

    ioBufferedStreamInput in;
    in.openFile(path.c_str());
    progressSeen.clear();
    in.associateProgressFunction(&recordProgress);
    std::string back(bytes.size(), '\0');
    back[0] = in.readChar();
    int n = in.readData(&back[1], 9999);
    n += in.readData(&back[10000], 10000);
    EXPECT_EQ(n, 19999);
    EXPECT_EQ(back, bytes);
    EXPECT_TRUE(in.good());
    char extra[8];
    EXPECT_EQ(in.readData(extra, 8), 0);
    EXPECT_EQ(in.getStatus(), ioStreamEOF);
    EXPECT_EQ(in.readChar(), 0);
    EXPECT_EQ(progressSeen.front(), 4096);
    EXPECT_EQ(progressSeen.back(), 20000);
    in.close();
}

TEST(BufferedStream, OpeningFailuresAndEmptyFiles)
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
    EXPECT_EQ(in.readChar(), 0);
    EXPECT_EQ(in.getStatus(), ioStreamEOF);
    EXPECT_EQ(in.readInt(), 0);
    in.close();

    // A closed stream reads and writes nothing.
    EXPECT_EQ(in.readChar(), 0);
    EXPECT_EQ(in.getStatus(), ioStreamIOError);
    out.writeString("lost");
    EXPECT_EQ(out.getStatus(), ioStreamIOError);
}

TEST(BufferedStream, FullDiskIsNoSpaceNotAnIOError)
{
    if (!std::ifstream("/dev/full"))
        GTEST_SKIP() << "no /dev/full on this system";
    ioBufferedStreamOutput out;
    out.openFile("/dev/full");
    ASSERT_TRUE(out.good());
    out.writeString("some bytes");
    out.flush();
    EXPECT_EQ(out.getStatus(), ioStreamNoSpace);
    out.close();
}

TEST(BufferedStream, WritesStopOnceTheBufferFailed)
{
    TestOutput stream;
    RecordingBuffer* bottom = new RecordingBuffer(false);
    bottom->failWith = ioBuffer::statusIOError;
    stream.use(bottom);
    std::string block(10000, 'z');
    stream.writeData(block.data(), static_cast<int>(block.size()));
    EXPECT_EQ(stream.getStatus(), ioStreamIOError);
    EXPECT_EQ(bottom->writes, (std::vector<int>{4096}));
    for (int i = 0; i < 5000; ++i)
        stream.writeChar('c');
    stream.flush();
    EXPECT_EQ(bottom->writes.size(), 1u);
    stream.close();
}

// The descriptor buffer reads ahead of the stream: every byte arrives once, in order, whatever
// the sizes asked for, and nothing read ahead outlives its file.
TEST(BufferedStream, ReadingAheadKeepsEveryByteOfItsOwnFile)
{
    qvTest::TempDir dir;
    std::mt19937 random(9);
    std::string bytes(3 * ioBufferFD::readAheadSize + 123, '\0');
    for (char& c : bytes)
        c = static_cast<char>(random());
    qvTest::writeFileBytes(dir.file("a"), bytes);
    qvTest::writeFileBytes(dir.file("b"), "other");

    ioBufferedStreamInput in;
    in.openFile(dir.file("a").c_str());
    std::string back(bytes.size(), '\0');
    size_t at = 0;
    back[at++] = in.readChar();
    for (int piece : {1, 4095, ioBufferFD::readAheadSize, 70000})
        at += static_cast<size_t>(in.readData(&back[at], piece));
    at += static_cast<size_t>(in.readData(&back[at], static_cast<int>(bytes.size() - at)));
    EXPECT_EQ(at, bytes.size());
    EXPECT_EQ(back, bytes);
    char extra;
    EXPECT_EQ(in.readData(&extra, 1), 0);
    EXPECT_EQ(in.getStatus(), ioStreamEOF);

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
