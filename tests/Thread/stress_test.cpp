#include "qvThreadCondition.h"
#include "qvThreadMutex.h"
#include "qvThreadThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <vector>

using qvThread::Condition;
using qvThread::MutexOp;
using qvThread::RWLock;
using qvThread::Thread;
using qvUtil::Interval;

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
