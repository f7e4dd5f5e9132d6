#include "tcpTestHelpers.h"

#include "ioBufferTCP.h"
#include "ioBufferedStream.h"
#include "qvTestScene.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

using tcpTest::connectPair;

namespace {

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

TEST(TCPPacketStream, AWholePacketFileCrossesAConnection)
{
    qvTest::Scene scene = qvTest::makeScene({2000, 11, 12, 0});
    tcpTest::Connection c = connectPair();
    ASSERT_TRUE(c.accepted);
    ioStatus written = ioError;
    std::thread writer(sendScene, std::cref(scene), std::ref(*c.accepted), std::ref(written));
    ioBufferedStreamInput in;
    in.openSocket(c.client.get());
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

TEST(TCPPacketStream, SocketFailuresAndMissingSocketsAreStatusValues)
{
    // No socket: the stream opens, and the first transfer fails.
    ioBufferedStreamInput none;
    none.openSocket(nullptr);
    none.readChar();
    EXPECT_EQ(none.getStatus(), ioStreamIOError);

    tcpTest::Connection c = connectPair();
    ASSERT_TRUE(c.accepted);
    ASSERT_FALSE(c.accepted->write("abc", 3, nullptr));
    c.accepted->close(3);
    ioBufferedStreamInput in;
    in.openSocket(c.client.get());
    // The bytes before the close still arrive; the read after them fails.
    std::string got;
    for (int i = 0; i < 3; ++i)
        got += in.readChar();
    EXPECT_EQ(got, "abc");
    EXPECT_TRUE(in.good());
    in.readChar();
    EXPECT_EQ(in.getStatus(), ioStreamIOError);

    // The buffer itself: a read without error and without bytes is no end of file.
    ioBufferTCP buffer(true, c.client.get());
    char byte;
    EXPECT_EQ(buffer.read(&byte, 0), 0);
    EXPECT_TRUE(buffer.good());
    buffer.close();
    EXPECT_EQ(buffer.read(&byte, 1), 0);
    EXPECT_EQ(buffer.status(), ioBuffer::statusIOError);
}
