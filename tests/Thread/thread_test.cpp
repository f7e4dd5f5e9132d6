#include "qvThreadCondition.h"
#include "qvThreadMutex.h"
#include "qvThreadThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <chrono>
#include <cstdint>
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
    Semaphore ran(0);
    Thread thread(&postTo, &ran);
    Thread copy(thread); // copies share the record: either may wait
    ASSERT_FALSE(thread.start());
    EXPECT_FALSE(copy.wait());
    EXPECT_TRUE(ran.tryWait());
    EXPECT_EQ(thread.wait().num(), 2); // waited for already: stopped

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

TEST(Semaphore, CountsPostsAndRefusesACountAboveItsMaximum)
{
    Semaphore two(2);
    EXPECT_TRUE(two.tryWait() && two.tryWait());
    EXPECT_FALSE(two.tryWait());
    two.post();
    EXPECT_TRUE(two.tryWait());
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
    Interval timeout; // of each wait: none by default
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
        w->condition.wait(w->timeout);
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

TEST(Condition, AWaitOnAHugeOrUndefinedSpanEndsWhenSignalled)
{
    for (double span : {1e300, HUGE_VAL, -HUGE_VAL, std::nan("")}) {
        Waiters w;
        w.timeout = Interval(span);
        Thread waiter(&waitForGo, &w);
        ASSERT_FALSE(waiter.start());
        untilReady(w, 1);
        lockAndRun(w.condition, [&] {
            w.go = true;
            w.condition.signal();
        });
        EXPECT_FALSE(waiter.wait());
        EXPECT_EQ(w.woken, 1) << span;
    }
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

namespace {

// Kernel objects under Wine cost a trip to the Wine server per operation, so the Windows build
// runs fewer rounds; the thread sanitizer slows every hand-over about tenfold, so its build
// passes fewer items through the queue.
#if defined(_WIN32)
constexpr long rwSections = 6000;
constexpr long queueItems = 30000;
constexpr long roundTrips = 3000;
#elif defined(__SANITIZE_THREAD__)
constexpr long rwSections = 1000000;
constexpr long queueItems = 2000000;
constexpr long roundTrips = 30000;
#else
constexpr long rwSections = 1000000;
constexpr long queueItems = 10000000;
constexpr long roundTrips = 100000;
#endif

constexpr int rwThreads = 8;
constexpr int cells = 16;

struct Shared {
    RWLock lock;
    std::int64_t values[cells] = {};
    std::int64_t writes = 0;
    std::atomic<long> badReads{0}, reads{0}, writesDone{0};
    std::atomic<std::uint32_t> seeds{0};
};

// Every fourth section writes: all cells go up by one together. Readers check that they never
// see a write half done.
void mixedSections(void* p)
{
    Shared& s = *static_cast<Shared*>(p);
    std::uint32_t random = 12345u + s.seeds++;
    for (long i = 0; i < rwSections / rwThreads; ++i) {
        random = random * 1664525u + 1013904223u;
        if ((random >> 16) % 4 == 0) {
            s.lock.writeLock();
            for (std::int64_t& v : s.values)
                ++v;
            ++s.writes;
            s.lock.writeUnlock();
            ++s.writesDone;
        } else {
            s.lock.readLock();
            std::int64_t first = s.values[0];
            for (std::int64_t v : s.values)
                if (v != first)
                    ++s.badReads;
            s.lock.readUnlock();
            ++s.reads;
        }
    }
}

} // namespace

TEST(ThreadStress, MixedReadAndWriteSectionsKeepTheSharedStateWhole)
{
    Shared shared;
    std::vector<Thread> threads;
    for (int i = 0; i < rwThreads; ++i)
        threads.emplace_back(&mixedSections, &shared);
    for (Thread& t : threads)
        ASSERT_FALSE(t.start());
    for (Thread& t : threads)
        ASSERT_FALSE(t.wait());

    const long writes = shared.writesDone;
    EXPECT_EQ(shared.badReads, 0);
    EXPECT_EQ(shared.reads + writes, rwSections);
    for (std::int64_t v : shared.values)
        EXPECT_EQ(v, writes);
}

namespace {

// A bounded queue on one Condition: producers wait while it is full, consumers while it is
// empty. Only the changes that end a wait (empty to one item, full to one free slot) wake the
// other side, and they wake all of it: producers and consumers share the one condition.
struct Queue {
    Condition condition;
    std::vector<std::uint32_t> ring = std::vector<std::uint32_t>(4096);
    std::size_t head = 0, count = 0;
    int waitingProducers = 0, waitingConsumers = 0;
    int producersLeft = 0;

    void push(std::uint32_t value)
    {
        MutexOp op(condition.getMutex(), true);
        op.lock();
        while (count == ring.size()) {
            ++waitingProducers;
            condition.wait(Interval());
            --waitingProducers;
        }
        ring[(head + count) % ring.size()] = value;
        ++count;
        if (count == 1 && waitingConsumers > 0)
            condition.broadcast();
    }

    // False once the queue is empty and every producer has finished.
    bool pop(std::uint32_t& value)
    {
        MutexOp op(condition.getMutex(), true);
        op.lock();
        while (count == 0) {
            if (producersLeft == 0)
                return false;
            ++waitingConsumers;
            condition.wait(Interval());
            --waitingConsumers;
        }
        value = ring[head];
        head = (head + 1) % ring.size();
        --count;
        if (count == ring.size() - 1 && waitingProducers > 0)
            condition.broadcast();
        return true;
    }

    void producerDone()
    {
        MutexOp op(condition.getMutex(), true);
        op.lock();
        --producersLeft;
        condition.broadcast();
    }
};

constexpr int producers = 2;
constexpr int consumers = 2;

// A producer pushes `first` and the values after it; a consumer adds up what it pops.
struct Worker {
    Queue* queue;
    std::uint32_t first = 0;
    std::uint64_t count = 0, sum = 0;
};

void produce(void* p)
{
    auto* w = static_cast<Worker*>(p);
    for (long i = 0; i < queueItems / producers; ++i)
        w->queue->push(w->first + static_cast<std::uint32_t>(i));
    w->queue->producerDone();
}

void consume(void* p)
{
    auto* w = static_cast<Worker*>(p);
    for (std::uint32_t value; w->queue->pop(value); ++w->count)
        w->sum += value;
}

} // namespace

TEST(ThreadStress, AQueueOnAConditionPassesEveryItemExactlyOnce)
{
    Queue queue;
    queue.producersLeft = producers;
    std::vector<Worker> made(producers, Worker{&queue}), taken(consumers, Worker{&queue});
    std::vector<Thread> threads;
    const std::uint32_t perProducer = static_cast<std::uint32_t>(queueItems / producers);
    for (int i = 0; i < producers; ++i) {
        made[i].first = static_cast<std::uint32_t>(i) * perProducer;
        threads.emplace_back(&produce, &made[i]);
    }
    for (Worker& c : taken)
        threads.emplace_back(&consume, &c);
    for (Thread& t : threads)
        ASSERT_FALSE(t.start());
    for (Thread& t : threads)
        ASSERT_FALSE(t.wait());

    std::uint64_t count = 0, sum = 0;
    for (const Worker& c : taken) {
        count += c.count;
        sum += c.sum;
    }
    const std::uint64_t n = static_cast<std::uint64_t>(perProducer) * producers;
    EXPECT_EQ(count, n);
    EXPECT_EQ(sum, n * (n - 1) / 2); // the values 0 .. n-1, each once
    EXPECT_EQ(queue.count, 0u);
}

namespace {

struct PingPong {
    Condition condition;
    int turn = 0;
    long trips = 0;
};

void answer(void* p)
{
    auto* pp = static_cast<PingPong*>(p);
    MutexOp op(pp->condition.getMutex(), true);
    op.lock();
    for (long i = 0; i < roundTrips; ++i) {
        while (pp->turn != 1)
            pp->condition.wait(Interval());
        pp->turn = 0;
        ++pp->trips;
        pp->condition.signal();
    }
}

} // namespace

// The signaller waits on the same condition right after signalling: the wake-up must reach the
// thread that was already waiting, or both sleep for ever.
TEST(ThreadStress, ASignalReachesTheThreadAlreadyWaitingNotTheSignallersNextWait)
{
    PingPong pp;
    Thread partner(&answer, &pp);
    ASSERT_FALSE(partner.start());
    {
        MutexOp op(pp.condition.getMutex(), true);
        op.lock();
        for (long i = 0; i < roundTrips; ++i) {
            pp.turn = 1;
            pp.condition.signal();
            while (pp.turn != 0)
                pp.condition.wait(Interval());
        }
    }
    ASSERT_FALSE(partner.wait());
    EXPECT_EQ(pp.trips, roundTrips);
}
