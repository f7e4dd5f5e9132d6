// Mutex and condition costs against the standard library's.
#include "qvThreadCondition.h"
#include "qvThreadMutex.h"

#include "benchPin.h"

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

void mutexQv(benchmark::State& state)
{
    qvThread::Mutex mutex;
    qvThread::MutexOp op(mutex, false);
    for (auto _ : state) {
        op.lock();
        op.unlock();
    }
}

void mutexAnchor(benchmark::State& state)
{
    std::mutex mutex;
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
    }
}

// Two threads hand a turn back and forth on one CPU; one iteration is one round trip.
void pingPongQv(benchmark::State& state)
{
    qvBench::PinToOneCpu pin; // the partner thread inherits the one CPU
    qvThread::Condition condition;
    int turn = 0;
    bool stop = false;
    std::thread partner([&] {
        qvThread::MutexOp op(condition.getMutex(), true);
        op.lock();
        for (;;) {
            while (turn != 1 && !stop)
                condition.wait(qvUtil::Interval());
            if (stop)
                return;
            turn = 0;
            condition.signal();
        }
    });
    for (auto _ : state) {
        qvThread::MutexOp op(condition.getMutex(), true);
        op.lock();
        turn = 1;
        condition.signal();
        while (turn != 0)
            condition.wait(qvUtil::Interval());
    }
    {
        qvThread::MutexOp op(condition.getMutex(), true);
        op.lock();
        stop = true;
        condition.signal();
    }
    partner.join();
}

void pingPongAnchor(benchmark::State& state)
{
    qvBench::PinToOneCpu pin; // the partner thread inherits the one CPU
    std::mutex mutex;
    std::condition_variable condition;
    int turn = 0;
    bool stop = false;
    std::thread partner([&] {
        std::unique_lock<std::mutex> lock(mutex);
        for (;;) {
            condition.wait(lock, [&] { return turn == 1 || stop; });
            if (stop)
                return;
            turn = 0;
            condition.notify_one();
        }
    });
    for (auto _ : state) {
        std::unique_lock<std::mutex> lock(mutex);
        turn = 1;
        condition.notify_one();
        condition.wait(lock, [&] { return turn == 0; });
    }
    {
        std::lock_guard<std::mutex> lock(mutex);
        stop = true;
        condition.notify_one();
    }
    partner.join();
}

} // namespace

BENCHMARK(mutexQv)->Name("mutex_uncontended/qv");
BENCHMARK(mutexAnchor)->Name("mutex_uncontended/anchor");
BENCHMARK(pingPongQv)->Name("condition_pingpong/qv");
BENCHMARK(pingPongAnchor)->Name("condition_pingpong/anchor");

BENCHMARK_MAIN();
