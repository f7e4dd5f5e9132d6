// readme_snippets: the short examples of the README's section on undo, signals, threads and the
// TCP packet stream, each as one function; main() runs them all. The README quotes the code
// between each "// snippet" line and its "// end" line, and a test checks that it still does.
#undef NDEBUG // the asserts are the examples' expected results
#include <qvBase.h>

#include <cassert>
#include <cstdio>
#include <memory>
#include <string>

namespace {

void undoSnippet()
{
    // snippet
    // A command does and undoes one change and says how much memory it holds.
    struct SetNumber : qvUndo::Command {
        SetNumber(qvUndo::Group* group, int& target, int value)
            : qvUndo::Command(group, "set number"), target(target), before(target), after(value) {}
        bool doCommand() override { target = after; return true; }
        bool undoCommand() override { target = before; return true; }
        int getNumBytesUsed() override { return sizeof *this; }
        int& target;
        int before, after;
    };
    qvUndo::installManager(qvUndo::newManager()); // one manager per process
    qvUndo::Manager* manager = qvUndo::getInstalledManager();

    // One user action is one group: add its commands (the group owns them), then do it.
    int width = 10;
    qvUndo::Group* resize = manager->newGroup("resize", false);
    new SetNumber(resize, width, 20);
    resize->doIt();
    // A dynamic group joins the step before it: one undo takes both back.
    qvUndo::Group* snap = manager->newGroup("snap to grid", true);
    new SetNumber(snap, width, 24);
    snap->doIt();
    assert(manager->numGroups(true) == 1 && manager->numGroups(false) == 2);
    manager->undoIt();
    assert(width == 10);
    manager->doIt();
    assert(width == 24);

    // Limits: at most 3 steps (and 10 MB by default); the oldest steps are deleted first.
    manager->setMaxGroups(3);
    for (int value = 1; value <= 5; ++value)
        new SetNumber(manager->newGroup("edit", false), width, value);
    assert(manager->numGroups(true) == 3);

    // A command that fails invalidates its group, and a failed step discards the whole history:
    // the host's data stays as the failed command left it.
    struct Fails : qvUndo::Command {
        explicit Fails(qvUndo::Group* group) : qvUndo::Command(group, "fails") {}
        bool doCommand() override { return false; }
        bool undoCommand() override { return false; }
    };
    new Fails(manager->newGroup("broken", false));
    bool undone = manager->undoIt();
    assert(!undone && !manager->canUndo() && manager->numGroups(false) == 0);
    qvUndo::installManager(nullptr); // deletes the manager and its groups
    // end
}

void signalSnippet()
{
    // snippet
    qvRTB::Signal1Arg<int> changed;
    int total = 0;
    // Any callable connects, capturing lambdas included; the handle disconnects it.
    void* handle = changed.addCallback([&total](int value) { total += value; });

    // Connections made with a SignalClient end when the client does.
    struct Panel : qvRTB::SignalClient {
        int shown = 0;
        void show(int value) { shown = value; }
    };
    {
        Panel panel;
        changed.addCallback(&panel, &Panel::show, panel);
        changed.emit(5); // newest connection first: the panel, then the lambda
        assert(panel.shown == 5 && total == 5);
    }
    changed.emit(2); // the panel's connection went with the panel
    changed.disconnect(handle);
    changed.emit(100);
    assert(total == 7 && changed.numConnections() == 0);
    // end
}

void threadSnippet()
{
    // snippet
    qvThread::Mutex mutex;
    int counter = 0;
    auto work = [&] {
        for (int i = 0; i < 1000; ++i) {
            qvThread::MutexOp lock(mutex, true); // unlocks when it goes out of scope
            lock.lock();
            ++counter;
        }
    };
    // A thread emits its signal in the new thread: connect before start().
    qvThread::Thread first, second;
    first.getSignal().addCallback(work);
    second.getSignal().addCallback(work);
    qvUtil::Error error = first.start();
    if (!error)
        error = second.start();
    assert(!error);
    first.wait();
    second.wait();
    assert(counter == 2000);
    // end
}

void tcpSnippet()
{
    // snippet
    // A packet type and registries for both ends: "note" packets carry one string.
    struct Note : ioPacketType {
        std::string* received;
        explicit Note(std::string* into) : ioPacketType("note"), received(into) {}
        void read(ioClientReadContext& client) override { *received = client->readCString(); }
    };
    struct Notes : ioPacketRegistry {
        std::string* received;
        Notes(bool reading, std::string* into) : ioPacketRegistry(reading), received(into) {}
        void registerTypes() override { supportedType(new Note(received)); }
    };

    qvTCP::Server server(-1, 5); // any free port
    qvUtil::Error error = server.listen();
    qvTCP::ClientSocket client(qvTCP::Address("127.0.0.1", server.getPort()));
    if (!error)
        error = client.connect();
    assert(!error);
    std::unique_ptr<qvTCP::Socket> connection(server.accept(qvUtil::Interval(5.0)).first);
    assert(connection);

    // The sender writes one whole packet file and ends its sending side: the reader reads up to
    // the end-of-file packet, so each connection carries one file.
    Notes sending(false, nullptr);
    ioBufferedStreamOutput out;
    out.openSocket(&client); // the stream uses the socket but does not own it
    std::unique_ptr<ioWriteContext> writer(ioWriteContextAlloc(out, ioWriteBinary, &sending));
    writer->startFile();
    writer->startPacket("note");
    writer->writeCString("hello over TCP");
    writer->endPacket();
    writer->endFile();
    out.close();
    client.close(2);

    // The receiver (here the same thread: a small file fits in the socket's buffers).
    std::string received;
    Notes receiving(true, &received);
    ioBufferedStreamInput in;
    in.openSocket(connection.get());
    std::unique_ptr<ioReadContext> reader(ioReadContextAlloc(in, &receiving));
    ioClientReadContext handle(*reader);
    reader->readFile(handle);
    in.close();
    assert(reader->getStatus() == ioOk && received == "hello over TCP");
    // end
}

} // namespace

int main()
{
    undoSnippet();
    signalSnippet();
    threadSnippet();
    tcpSnippet();
    std::printf("readme_snippets: undo, signals, threads and TCP ran as the README shows\n");
    return 0;
}
