#ifndef QVBENCH_PIN_H
#define QVBENCH_PIN_H

// Pins the calling thread, and every thread it starts while pinned, to one CPU.
//
// A ping-pong between two threads on two CPUs measures how fast an idle CPU wakes up, which
// moves by a factor of two from one run to the next; on one CPU each hand-over is a plain
// context switch, so the library's own cost shows and holds still between runs.

#include <sched.h> // the benchmarks run on Linux

namespace qvBench {

class PinToOneCpu {
public:
    PinToOneCpu()
    {
        pinned_ = sched_getaffinity(0, sizeof saved_, &saved_) == 0;
        if (!pinned_)
            return;
        cpu_set_t one;
        CPU_ZERO(&one);
        for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
            if (CPU_ISSET(cpu, &saved_)) {
                CPU_SET(cpu, &one);
                break;
            }
        }
        pinned_ = sched_setaffinity(0, sizeof one, &one) == 0;
    }
    ~PinToOneCpu()
    {
        if (pinned_)
            sched_setaffinity(0, sizeof saved_, &saved_);
    }
    PinToOneCpu(const PinToOneCpu&) = delete;
    PinToOneCpu& operator=(const PinToOneCpu&) = delete;

private:
    cpu_set_t saved_;
    bool pinned_ = false;
};

} // namespace qvBench

#endif
