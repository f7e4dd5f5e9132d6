#include "tcpTestHelpers.h"

#include "ioBufferTCP.h"
#include "ioBufferedStream.h"
#include "qvTestScene.h"
#include "qvTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

using tcpTest::connectPair;

namespace {

// Everything the socket receives until the peer closes.
std::string drain(qvTCP::Socket& socket)
{
    std::string bytes;
    char block[4096];
    for (;;) {
        unsigned int done = 0;
        qvUtil::Error error = socket.read(block, sizeof block, &done);
        bytes.append(block, done);
        if (error)
            return bytes;
    }
}

// Writes the scene through a socket stream, then ends the sending side.
void sendScene(const qvTest::Scene& scene, qvTCP::Socket& socket, ioStatus& status)
{
    ioBufferedStreamOutput out;
    out.openSocket(&socket);
    status = qvTest::writeScene(scene, out, ioWriteAscii);
    out.close();
    socket.close(2);
}

} // namespace

TEST(TCPPacketStream, AWholePacketFileCrossesAConnectionAsItLandsInAFile)
{
    qvTest::Scene scene = qvTest::makeScene({2000, 11, 12, 0});
    qvTest::TempDir dir;
    std::string path = dir.file("scene.qv");
    ASSERT_EQ(qvTest::writeSceneFile(scene, path, ioWriteAscii), ioOk);

    // Read back as objects by the other end of the connection.
    {
        tcpTest::Connection c = connectPair();
        ASSERT_TRUE(c.accepted);
        ioStatus written = ioError;
        std::thread writer(sendScene, std::cref(scene), std::ref(*c.accepted), std::ref(written));
        ioBufferedStreamInput in;
        in.openSocket(c.client.get());
        EXPECT_TRUE(in.good());
        qvTest::Scene copy;
        qvTest::SceneReadResult result = qvTest::readScene(copy, in);
        writer.join();
        EXPECT_EQ(written, ioOk);
        ASSERT_TRUE(result.opened);
        EXPECT_EQ(result.status, ioOk);
        EXPECT_EQ(qvTest::compareScenes(scene, copy), "");
        in.close();
        // The stream leaves the socket to its owner.
        EXPECT_TRUE(c.client->connected());
    }
    // Byte for byte the file.
    {
        tcpTest::Connection c = connectPair();
        ASSERT_TRUE(c.accepted);
        ioStatus written = ioError;
        std::thread writer(sendScene, std::cref(scene), std::ref(*c.accepted), std::ref(written));
        std::string received = drain(*c.client);
        writer.join();
        EXPECT_EQ(written, ioOk);
        EXPECT_TRUE(received == qvTest::readFileBytes(path)) << received.size() << " bytes";
    }
}

TEST(TCPPacketStream, SocketFailuresAndMissingSocketsAreStatusValues)
{
    // No socket: the stream opens, and the first transfer fails.
    ioBufferedStreamInput none;
    none.openSocket(nullptr);
    EXPECT_TRUE(none.good());
    none.readChar();
    EXPECT_EQ(none.getStatus(), ioStreamIOError);

    tcpTest::Connection c = connectPair();
    ASSERT_TRUE(c.accepted);
    ASSERT_FALSE(c.accepted->write("abc", 3, nullptr));
    c.accepted->close(3);
    ioBufferedStreamInput in;
    in.openSocket(c.client.get());
    // The bytes before the close still arrive; the read after them fails.
    EXPECT_EQ(in.readChar(), 'a');
    EXPECT_EQ(in.readChar(), 'b');
    EXPECT_EQ(in.readChar(), 'c');
    EXPECT_TRUE(in.good());
    in.readChar();
    EXPECT_EQ(in.getStatus(), ioStreamIOError);

    // The buffer itself: a read without error and without bytes is no end of file.
    ioBufferTCP buffer(true, c.client.get());
    EXPECT_EQ(buffer.type(), ioBuffer::typeTCP);
    char byte;
    EXPECT_EQ(buffer.read(&byte, 0), 0);
    EXPECT_TRUE(buffer.good());
    buffer.close();
    EXPECT_EQ(buffer.read(&byte, 1), 0);
    EXPECT_EQ(buffer.status(), ioBuffer::statusIOError);
}
