#include "qvThreadCondition.h"
#include "qvThreadMutex.h"
#include "qvThreadThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

using qvThread::Condition;
using qvThread::MutexOp;
using qvThread::RWLock;
using qvThread::Semaphore;
using qvThread::Thread;
using qvUtil::Interval;

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void postTo(void* semaphore)
{
    static_cast<Semaphore*>(semaphore)->post();
}

// Runs `body` on its own thread once started; the test waits for it.
struct Task {
    std::function<void()> body;
    Thread thread{&Task::run, this};
    static void run(void* p) { static_cast<Task*>(p)->body(); }
};

void lockAndRun(Condition& c, const std::function<void()>& body)
{
    MutexOp op(c.getMutex(), true);
    op.lock();
    body();
}

thread_local int onMainThread = 0;

struct SignalRun {
    std::vector<std::string> calls;
    Semaphore done{0};
    void first() { calls.push_back(onMainThread ? "first@main" : "first"); }
    void second()
    {
        calls.push_back(onMainThread ? "second@main" : "second");
        done.post();
    }
};

} // namespace

TEST(Thread, RunsAFunctionAndIsWaitedForOnce)
{
    Thread never(&postTo, nullptr);
    qvUtil::Error err = never.wait();
    EXPECT_EQ(err.num(), 2);
    EXPECT_STREQ(err.message(), "cannot wait for a stopped thread");

    Semaphore ran(0);
    Thread thread(&postTo, &ran);
    Thread copy(thread); // copies share the record: either may wait
    ASSERT_FALSE(thread.start());
    EXPECT_FALSE(copy.wait());
    EXPECT_TRUE(ran.tryWait());
    EXPECT_EQ(thread.wait().num(), 2);

    Semaphore detached(0);
    EXPECT_TRUE(qvThread_CreateThread(&postTo, &detached));
    detached.wait();

    // A thread that waits for itself is refused rather than left hanging, and it was its own
    // last wait: the Thread is stopped afterwards.
    Semaphore started(0), finished(0);
    qvUtil::Error self;
    Task selfWait;
    selfWait.body = [&] {
        started.wait();
        self = selfWait.thread.wait();
        finished.post();
    };
    ASSERT_FALSE(selfWait.thread.start());
    started.post();
    finished.wait();
    EXPECT_EQ(self.num(), 1);
    EXPECT_STREQ(self.message(), "WaitForSingleObject() failed: Resource deadlock avoided\n");
    EXPECT_EQ(selfWait.thread.wait().num(), 2);
}

TEST(Thread, WithoutAFunctionTheNewThreadEmitsTheSignal)
{
    onMainThread = 1;
    SignalRun run;
    Thread thread;
    thread.getSignal().addCallback(&run, &SignalRun::second);
    thread.getSignal().addCallback(&run, &SignalRun::first);
    ASSERT_FALSE(thread.start());
    ASSERT_FALSE(thread.wait());
    EXPECT_TRUE(run.done.tryWait());
    EXPECT_EQ(run.calls, (std::vector<std::string>{"first", "second"}));

    EXPECT_FALSE(thread.getSignal().isConnected()); // the signal went with the thread
    // A Thread that goes while its thread runs leaves it running, detached.
    SignalRun late;
    {
        Thread gone;
        gone.getSignal().addCallback(&late, &SignalRun::second);
        ASSERT_FALSE(gone.start());
    }
    late.done.wait();
}

TEST(Semaphore, CountsPostsAndBlocksWaiters)
{
    Semaphore s(0);
    EXPECT_FALSE(s.tryWait());
    s.post();
    EXPECT_TRUE(s.tryWait());
    EXPECT_FALSE(s.tryWait());
    try {
        Semaphore tooMany(Semaphore::maxValue() + 1u);
        ADD_FAILURE() << "a count above the maximum was accepted";
    } catch (const qvUtil::Error& e) {
        EXPECT_EQ(e.num(), 1);
    }
}

TEST(Mutex, IsRecursiveAndScopedLocksReleaseOnlyWhatTheyHold)
{
    Condition c; // its mutex is a plain Mutex the test can reach
    {
        MutexOp outer(c.getMutex(), true);
        MutexOp inner(c.getMutex(), true);
        outer.lock();
        inner.lock(); // the owner may lock again
        MutexOp idle(c.getMutex(), true); // never locked: releases nothing
    }
    // Free again: another thread can take it.
    bool took = false;
    Task other{[&] { lockAndRun(c, [&] { took = true; }); }};
    ASSERT_FALSE(other.thread.start());
    EXPECT_FALSE(other.thread.wait());
    EXPECT_TRUE(took);
}

TEST(Condition, WaitTimesOutHoldingTheMutexAndUnheardSignalsAreForgotten)
{
    Condition c;
    MutexOp op(c.getMutex(), true);
    op.lock();
    auto start = Clock::now();
    c.wait(Interval(1.5));
    double waited = secondsSince(start);
    EXPECT_GE(waited, 1.4);
    EXPECT_LT(waited, 6.0);

    // The mutex came back: a second thread cannot take it until it is released.
    std::atomic<int> stage{0};
    Task taker{[&] {
        stage = 1;
        lockAndRun(c, [&] { stage = 2; });
    }};
    ASSERT_FALSE(taker.thread.start());
    while (stage.load() == 0) {
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(stage.load(), 1);
    op.unlock();
    EXPECT_FALSE(taker.thread.wait());
    EXPECT_EQ(stage.load(), 2);

    // A signal nobody waits for does not wake a later waiter.
    op.lock();
    c.signal();
    start = Clock::now();
    c.wait(Interval(0.3));
    EXPECT_GE(secondsSince(start), 0.25);
}

namespace {

struct Waiters {
    Condition condition;
    int ready = 0;
    bool go = false;
    int woken = 0;
};

void waitForGo(void* p)
{
    auto* w = static_cast<Waiters*>(p);
    MutexOp op(w->condition.getMutex(), true);
    op.lock();
    ++w->ready;
    while (!w->go)
        w->condition.wait(Interval());
    ++w->woken;
}

// Takes the mutex until `ready` reaches n. Seeing n under the mutex means every waiter has
// released it inside wait(), so each is counted as waiting.
void untilReady(Waiters& w, int n)
{
    for (bool done = false; !done; std::this_thread::sleep_for(std::chrono::milliseconds(1)))
        lockAndRun(w.condition, [&] { done = w.ready == n; });
}

} // namespace

TEST(Condition, BroadcastWakesEveryWaiterAndSignalWakesOne)
{
    Waiters w;
    Thread threads[3] = {Thread(&waitForGo, &w), Thread(&waitForGo, &w), Thread(&waitForGo, &w)};
    for (Thread& t : threads)
        ASSERT_FALSE(t.start());
    untilReady(w, 3);
    lockAndRun(w.condition, [&] {
        w.go = true;
        w.condition.broadcast(); // returns once all three have woken
        EXPECT_EQ(w.woken, 0);   // none of them has the mutex yet
    });
    for (Thread& t : threads)
        EXPECT_FALSE(t.wait());
    EXPECT_EQ(w.woken, 3);

    // signal() lets exactly one of two waiters go on.
    Waiters one;
    Thread a(&waitForGo, &one), b(&waitForGo, &one);
    ASSERT_FALSE(a.start());
    ASSERT_FALSE(b.start());
    untilReady(one, 2);
    lockAndRun(one.condition, [&] {
        one.go = true;
        one.condition.signal();
    });
    // Waits (10 s at most, so that a lost wake-up fails instead of hanging) until n have woken.
    auto untilWoken = [&](int n) {
        bool done = false;
        for (auto end = Clock::now() + std::chrono::seconds(10); !done && Clock::now() < end;)
            lockAndRun(one.condition, [&] { done = one.woken == n; });
    };
    untilWoken(1);
    lockAndRun(one.condition, [&] {
        one.condition.wait(Interval(0.2)); // time for a wrong second wake-up to show
        EXPECT_EQ(one.woken, 1);
        one.condition.signal();
    });
    untilWoken(2);
    lockAndRun(one.condition, [&] { one.condition.broadcast(); }); // frees a waiter a lost signal left
    EXPECT_FALSE(a.wait());
    EXPECT_FALSE(b.wait());
    EXPECT_EQ(one.woken, 2);
}

TEST(RWLock, ReadersShareAndAreAdmittedWhileAWriterWaits)
{
    RWLock lock;
    std::atomic<int> stage{0};
    lock.readLock();
    lock.readLock(); // two readers together
    Task writer{[&] {
        stage = 1;
        lock.writeLock();
        stage = 2;
        lock.writeUnlock();
    }};
    ASSERT_FALSE(writer.thread.start());
    while (stage.load() == 0) {
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // the writer is waiting by now
    // A reader that arrives while the writer waits is admitted (from another thread).
    Task reader{[&] {
        lock.readLock();
        lock.readUnlock();
    }};
    ASSERT_FALSE(reader.thread.start());
    EXPECT_FALSE(reader.thread.wait());
    EXPECT_EQ(stage.load(), 1);
    lock.readUnlock();
    EXPECT_EQ(stage.load(), 1);
    lock.readUnlock(); // the last reader lets the writer in
    EXPECT_FALSE(writer.thread.wait());
    EXPECT_EQ(stage.load(), 2);
}
