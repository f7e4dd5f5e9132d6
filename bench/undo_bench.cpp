// A host's editing session: groups of ten commands recorded one after another, with an undo
// and redo of three steps every hundred groups, then the whole queue freed. The anchor keeps
// the same commands in a plain deque of vectors and replays them the same way.
#include "qvUndoManager.h"

#include <benchmark/benchmark.h>

#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace {

class SetCell : public qvUndo::Command {
public:
    SetCell(qvUndo::Group* group, std::vector<int>& d, std::size_t i, int v)
        : Command(group, "set"), doc(d), index(i), before(d[i]), after(v)
    {
        doc[index] = after;
    }
    bool doCommand() override
    {
        doc[index] = after;
        return true;
    }
    bool undoCommand() override
    {
        doc[index] = before;
        return true;
    }
    int getNumBytesUsed() override { return 64; }

private:
    std::vector<int>& doc;
    std::size_t index;
    int before, after;
};

constexpr int commandsPerGroup = 10;

void sessionQv(benchmark::State& state, int groups)
{
    std::vector<int> doc(1024, 0);
    for (auto _ : state) {
        qvUndo::Manager* m = qvUndo::newManager();
        m->setMaxBytes(0); // keep every group: the queue itself must scale
        for (int g = 0; g < groups; ++g) {
            qvUndo::Group* group = m->newGroup("edit", false);
            for (int c = 0; c < commandsPerGroup; ++c)
                new SetCell(group, doc, static_cast<std::size_t>((g * 7 + c) % 1024), g);
            if (g % 100 == 99) {
                for (int i = 0; i < 3; ++i)
                    m->undoIt();
                for (int i = 0; i < 3; ++i)
                    m->doIt();
            }
        }
        delete m;
    }
    state.counters["groups_per_second"] =
        benchmark::Counter(static_cast<double>(groups) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}

// The same commands without a manager: a deque of groups, each a vector of commands.
struct PlainCommand {
    std::vector<int>* doc;
    std::size_t index;
    int before, after;
};

void sessionAnchor(benchmark::State& state, int groups)
{
    std::vector<int> doc(1024, 0);
    for (auto _ : state) {
        std::deque<std::vector<std::unique_ptr<PlainCommand>>> history;
        for (int g = 0; g < groups; ++g) {
            history.emplace_back();
            for (int c = 0; c < commandsPerGroup; ++c) {
                std::size_t index = static_cast<std::size_t>((g * 7 + c) % 1024);
                history.back().push_back(
                    std::make_unique<PlainCommand>(PlainCommand{&doc, index, doc[index], g}));
                doc[index] = g;
            }
            if (g % 100 == 99) {
                for (std::size_t i = 0; i < 3; ++i) {
                    auto& step = history[history.size() - 1 - i];
                    for (auto it = step.rbegin(); it != step.rend(); ++it)
                        (*(*it)->doc)[(*it)->index] = (*it)->before;
                }
                for (std::size_t i = 3; i-- > 0;) {
                    for (auto& command : history[history.size() - 1 - i])
                        (*command->doc)[command->index] = command->after;
                }
            }
        }
        benchmark::DoNotOptimize(doc.data());
    }
    state.counters["groups_per_second"] =
        benchmark::Counter(static_cast<double>(groups) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}

} // namespace

int main(int argc, char** argv)
{
    for (int groups : {100000, 200000}) {
        const std::string name = "session_" + std::to_string(groups / 1000) + "k_groups";
        benchmark::RegisterBenchmark((name + "/qv").c_str(), sessionQv, groups)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((name + "/anchor").c_str(), sessionAnchor, groups)
            ->Unit(benchmark::kMillisecond);
    }
    // Growth: the same session with 200k groups against 100k. Linear work takes twice the time.
    benchmark::RegisterBenchmark("growth_200k_vs_100k/qv", sessionQv, 200000)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("growth_200k_vs_100k/anchor", sessionQv, 100000)
        ->Unit(benchmark::kMillisecond);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
