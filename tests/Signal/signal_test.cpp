#include "qvRTBSignal.h"
#include "qvUtilPointerSignals.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

using qvRTB::Signal1Arg;
using qvRTB::Signal3Args;
using qvRTB::SignalClient;
using qvRTB::SignalVoid;

namespace {

// Records every call it receives as "<tag>:<argument>".
struct Recorder : SignalClient {
    std::vector<std::string>* log = nullptr;
    std::string tag;
    Recorder(std::vector<std::string>* l, std::string t) : log(l), tag(std::move(t)) {}
    void onInt(int v) { log->push_back(tag + ":" + std::to_string(v)); }
    void onVoid() { log->push_back(tag); }
};

std::vector<int> freeCalls;
void freeA(int v) { freeCalls.push_back(v); }
void freeB(int v) { freeCalls.push_back(v * 10); }

} // namespace

TEST(Signal, EmitsNewestFirstAndFindsOnlyItsOwnFreeFunctions)
{
    Signal1Arg<int> signal, other;
    std::vector<std::string> log;
    Recorder a(&log, "A"), b(&log, "B");
    signal.addCallback(&a, &Recorder::onInt);
    signal.addCallback(&b, &Recorder::onInt);
    signal.emit(7);
    EXPECT_EQ(log, (std::vector<std::string>{"B:7", "A:7"}));

    freeCalls.clear();
    void* fa = signal.addCallback(&freeA);
    signal.addCallback(&freeB);
    EXPECT_EQ(signal.findGlobalCallback(&freeA), fa); // member connections are never found
    signal.disconnect(other.addCallback(&freeA)); // a foreign handle is ignored
    EXPECT_EQ(other.numConnections(), 1);
    signal.disconnect(signal.findGlobalCallback(&freeB));
    EXPECT_EQ(signal.numConnections(), 3);
    signal.emit(3);
    EXPECT_EQ(freeCalls, (std::vector<int>{3}));
}

TEST(Signal, CallbacksMayDisconnectThemselvesOrLaterConnectionsDuringEmission)
{
    std::vector<std::string> log;
    Recorder a(&log, "A"), c(&log, "C");
    Signal1Arg<int> signal;
    void* handleA = signal.addCallback(&a, &Recorder::onInt);
    void* self = nullptr;
    self = signal.addCallback([&](int) { log.push_back("self"); signal.disconnect(self); });
    signal.addCallback(&c, &Recorder::onInt);

    signal.emit(1);
    EXPECT_EQ(log, (std::vector<std::string>{"C:1", "self", "A:1"}));
    log.clear();
    signal.emit(2);
    EXPECT_EQ(log, (std::vector<std::string>{"C:2", "A:2"}));

    // Removing a connection that has not been called yet skips it in the same emission.
    log.clear();
    signal.addCallback([&](int) { log.push_back("killer"); signal.disconnect(handleA); });
    signal.emit(3);
    EXPECT_EQ(log, (std::vector<std::string>{"killer", "C:3"}));
    EXPECT_EQ(signal.numConnections(), 2);
}

TEST(Signal, DestroyingAClientRemovesItsConnectionsFromEverySignal)
{
    std::vector<std::string> log;
    Signal1Arg<int> ints;
    SignalVoid plain;
    Signal3Args<const char*, void*, int> triple;
    auto keeper = std::make_unique<Recorder>(&log, "keep");
    ints.addCallback(keeper.get(), &Recorder::onInt, *keeper);
    {
        Recorder gone(&log, "gone");
        ints.addCallback(&gone, &Recorder::onInt, gone);
        ints.addCallback(&gone, &Recorder::onInt, gone);
        plain.addCallback(&gone, &Recorder::onVoid, gone);
        triple.addCallback(+[](const char*, void*, int) {}, gone);
        EXPECT_EQ(gone.numConnections(), 4); // one companion per connection made with it
    }
    EXPECT_EQ(ints.numConnections(), 1);
    EXPECT_FALSE(plain.isConnected());
    EXPECT_FALSE(triple.isConnected());
    ints.emit(5);
    plain.emit();
    EXPECT_EQ(log, (std::vector<std::string>{"keep:5"}));

    // Disconnecting by handle also removes the companion from the client.
    void* handle = ints.addCallback(keeper.get(), &Recorder::onInt, *keeper);
    EXPECT_EQ(keeper->numConnections(), 2);
    ints.disconnect(handle);
    EXPECT_EQ(keeper->numConnections(), 1);

    // A signal that goes first leaves its clients clean (ASan tells if the client reaches it).
    {
        SignalVoid first;
        first.addCallback(keeper.get(), &Recorder::onVoid, *keeper);
    }
    EXPECT_EQ(keeper->numConnections(), 1);
}

TEST(Signal, ASignalDestroyedByItsOwnCallbackEndsTheEmissionSafely)
{
    int calls = 0, later = 0;
    auto* signal = new SignalVoid;
    const auto destroyer = [&] {
        ++calls;
        delete signal;
        signal = nullptr;
    };
    signal->addCallback(destroyer); // would be called second
    signal->addCallback(destroyer);
    signal->addCallback([&] { ++later; });
    signal->emit();
    EXPECT_EQ(later, 1);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(signal, nullptr);
}

namespace {

std::vector<std::string> pointerLog;
void observePointer(const char* type, void* pointer, int count)
{
    pointerLog.push_back(std::string(type) + (pointer ? "+" : "0") + std::to_string(count));
}

} // namespace

TEST(Signal, PointerLifetimeSignalsAreDistinctProcessWideSignals)
{
    pointerLog.clear();
    EXPECT_EQ((std::set<qvUtil::PointerSignal*>{&qvUtil::getPointerInitSignal(), &qvUtil::getPointerAcquireSignal(),
               &qvUtil::getPointerReleaseSignal(), &qvUtil::getPointerDeleteSignal()}).size(), 4u);
    int object = 0;
    {
        SignalClient observer;
        qvUtil::getPointerAcquireSignal().addCallback(&observePointer, observer);
        qvUtil::getPointerAcquireSignal().emit("Mesh", &object, 2);
        qvUtil::getPointerReleaseSignal().emit("Mesh", &object, 1);
    }
    qvUtil::getPointerAcquireSignal().emit("Mesh", &object, 3);
    EXPECT_EQ(pointerLog, (std::vector<std::string>{"Mesh+2"}));
    EXPECT_FALSE(qvUtil::getPointerAcquireSignal().isConnected());
}

TEST(Signal, CapturingLambdasConnectToEverySignalAndAreFreedWithTheirConnection)
{
    std::vector<std::string> log;
    auto keep = std::make_shared<int>(0); // a capture whose copies can be counted
    Signal1Arg<int> one;
    Signal3Args<const char*, void*, int> three;
    SignalVoid none;
    void* handle = one.addCallback([&log, keep](int v) { log.push_back("one:" + std::to_string(v)); });
    three.addCallback([&log](const char* name, void*, int n) { log.push_back(std::string(name) + std::to_string(n)); });
    {
        SignalClient client;
        none.addCallback([&log, keep] { log.push_back("none"); }, client);
        none.emit();
        EXPECT_EQ(keep.use_count(), 3);
    }
    EXPECT_EQ(keep.use_count(), 2); // the client's end freed its lambda
    none.emit();
    one.emit(4);
    three.emit("three:", nullptr, 5);
    one.disconnect(handle);
    one.emit(6);
    EXPECT_EQ(keep.use_count(), 1);
    EXPECT_EQ(log, (std::vector<std::string>{"none", "one:4", "three:5"}));
}
