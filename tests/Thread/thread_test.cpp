#include "qvThreadCondition.h"
#include "qvThreadMutex.h"
#include "qvThreadThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
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

    // The signal went with the thread; what is connected now belongs to a fresh one.
    EXPECT_FALSE(thread.getSignal().isConnected());

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

    Semaphore two(2);
    EXPECT_TRUE(two.tryWait());
    EXPECT_TRUE(two.tryWait());
    EXPECT_FALSE(two.tryWait());

    // A waiter blocks until another thread posts.
    Semaphore go(0), back(0);
    struct Pair {
        Semaphore* go;
        Semaphore* back;
    } pair{&go, &back};
    Thread echo(
        [](void* p) {
            auto* pr = static_cast<Pair*>(p);
            for (int i = 0; i < 100; ++i) {
                pr->go->wait();
                pr->back->post();
            }
        },
        &pair);
    ASSERT_FALSE(echo.start());
    for (int i = 0; i < 100; ++i) {
        go.post();
        back.wait();
    }
    EXPECT_FALSE(echo.wait());
    EXPECT_FALSE(back.tryWait());

    EXPECT_EQ(Semaphore::maxValue(), 2147483647u);
    try {
        Semaphore tooMany(Semaphore::maxValue() + 1u);
        ADD_FAILURE() << "a count above the maximum was accepted";
    } catch (const qvUtil::Error& e) {
        EXPECT_EQ(e.num(), 1);
        EXPECT_STRNE(e.message(), "");
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
    {
        MutexOp keep(c.getMutex(), false);
        keep.lock();
        keep.unlock();
    }
    // Free again: another thread can take it.
    Semaphore took(0);
    struct Arg {
        Condition* c;
        Semaphore* took;
    } arg{&c, &took};
    Thread other(
        [](void* p) {
            auto* a = static_cast<Arg*>(p);
            MutexOp op(a->c->getMutex(), true);
            op.lock();
            a->took->post();
        },
        &arg);
    ASSERT_FALSE(other.start());
    EXPECT_FALSE(other.wait());
    EXPECT_TRUE(took.tryWait());
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
    struct Arg {
        Condition* c;
        std::atomic<int>* stage;
    } arg{&c, &stage};
    Thread taker(
        [](void* p) {
            auto* a = static_cast<Arg*>(p);
            MutexOp other(a->c->getMutex(), true);
            a->stage->store(1);
            other.lock();
            a->stage->store(2);
        },
        &arg);
    ASSERT_FALSE(taker.start());
    while (stage.load() == 0) {
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(stage.load(), 1);
    op.unlock();
    EXPECT_FALSE(taker.wait());
    EXPECT_EQ(stage.load(), 2);

    // A signal nobody waits for does not wake a later waiter.
    op.lock();
    c.signal();
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
    for (;;) {
        MutexOp op(w.condition.getMutex(), true);
        op.lock();
        if (w.ready == n)
            return;
        op.unlock();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace

TEST(Condition, BroadcastWakesEveryWaiterAndSignalWakesOne)
{
    Waiters w;
    Thread threads[3] = {Thread(&waitForGo, &w), Thread(&waitForGo, &w), Thread(&waitForGo, &w)};
    for (Thread& t : threads)
        ASSERT_FALSE(t.start());
    untilReady(w, 3);
    {
        MutexOp op(w.condition.getMutex(), true);
        op.lock();
        w.go = true;
        w.condition.broadcast(); // returns once all three have woken
        EXPECT_EQ(w.woken, 0);   // none of them has the mutex yet
    }
    for (Thread& t : threads)
        EXPECT_FALSE(t.wait());
    EXPECT_EQ(w.woken, 3);

    {
        MutexOp op(w.condition.getMutex(), true);
        op.lock();
        w.condition.broadcast(); // no waiters: returns at once
    }

    // signal() lets exactly one of two waiters go on.
    Waiters one;
    Thread a(&waitForGo, &one), b(&waitForGo, &one);
    ASSERT_FALSE(a.start());
    ASSERT_FALSE(b.start());
    untilReady(one, 2);
    {
        MutexOp op(one.condition.getMutex(), true);
        op.lock();
        one.go = true;
        one.condition.signal();
    }
    for (;;) {
        MutexOp op(one.condition.getMutex(), true);
        op.lock();
        if (one.woken == 1)
            break;
    }
    {
        MutexOp op(one.condition.getMutex(), true);
        op.lock();
        one.condition.wait(Interval(0.2)); // time for a wrong second wake-up to show
        EXPECT_EQ(one.woken, 1);
        one.condition.signal();
    }
    EXPECT_FALSE(a.wait());
    EXPECT_FALSE(b.wait());
    EXPECT_EQ(one.woken, 2);
}

namespace {

struct RWState {
    RWLock lock;
    std::atomic<int> stage{0};
};

} // namespace

TEST(RWLock, ReadersShareAndAreAdmittedWhileAWriterWaits)
{
    RWState s;
    s.lock.readLock();
    s.lock.readLock(); // two readers together
    EXPECT_EQ(s.lock.numberOfReaders(), 2);

    Thread writer(
        [](void* p) {
            auto* st = static_cast<RWState*>(p);
            st->stage = 1;
            st->lock.writeLock();
            st->stage = 2;
            st->lock.writeUnlock();
        },
        &s);
    ASSERT_FALSE(writer.start());
    while (s.stage.load() == 0) {
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // the writer is waiting by now
    // A reader that arrives while the writer waits is admitted (from another thread).
    Thread reader(
        [](void* p) {
            auto* st = static_cast<RWState*>(p);
            st->lock.readLock();
            st->lock.readUnlock();
        },
        &s);
    ASSERT_FALSE(reader.start());
    EXPECT_FALSE(reader.wait());
    EXPECT_EQ(s.stage.load(), 1);
    EXPECT_FALSE(s.lock.hasWriter());

    s.lock.readUnlock();
    EXPECT_EQ(s.stage.load(), 1);
    s.lock.readUnlock(); // the last reader lets the writer in
    EXPECT_FALSE(writer.wait());
    EXPECT_EQ(s.stage.load(), 2);
    EXPECT_EQ(s.lock.numberOfReaders(), 0);
    EXPECT_FALSE(s.lock.hasWriter());
}
