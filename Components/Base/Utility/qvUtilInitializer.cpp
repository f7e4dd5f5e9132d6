#include "qvUtilInitializer.h"

#include "internal/qvUtilInitializerState.h"

#include <algorithm>
#include <deque>
#include <utility>
#include <vector>

namespace qvUtil {

namespace {

using Dependency = std::pair<Initializer*, Initializer*>; // (dependent, prerequisite)

// Created on first use and never freed: steps register during static construction, in an order
// nobody controls, and may go away during static destruction.
std::vector<Initializer*>& registry()
{
    static std::vector<Initializer*>* steps = new std::vector<Initializer*>;
    return *steps;
}

std::vector<Dependency>& dependencies()
{
    static std::vector<Dependency>* pairs = new std::vector<Dependency>;
    return *pairs;
}

} // namespace

namespace internal {

unsigned char& initializerAlreadyCalled()
{
    static unsigned char flag = 0;
    return flag;
}

} // namespace internal

Initializer::Initializer() : sourceFile("Components/Base/Utility/qvUtilInitializer"), count(0)
{
    addInit();
}

Initializer::Initializer(const Initializer& other) : sourceFile(other.sourceFile), count(other.count) {}

Initializer& Initializer::operator=(const Initializer& other)
{
    sourceFile = other.sourceFile;
    count = other.count;
    return *this;
}

Initializer::~Initializer()
{
    std::vector<Initializer*>& steps = registry();
    steps.erase(std::remove(steps.begin(), steps.end(), this), steps.end());
    std::vector<Dependency>& pairs = dependencies();
    pairs.erase(std::remove_if(pairs.begin(), pairs.end(),
                               [this](const Dependency& d) { return d.first == this || d.second == this; }),
                pairs.end());
}

void Initializer::addInit()
{
    registry().push_back(this);
}

void Initializer::dependsOn(Initializer* prerequisite)
{
    dependencies().emplace_back(this, prerequisite);
}

Error Initializer::initializeAll()
{
    if (internal::initializerAlreadyCalled())
        return Error(1, "Initializer::initializeAll() already called");

    std::vector<Initializer*>& steps = registry();
    const std::vector<Dependency>& pairs = dependencies();

    // Every step passes through the queue once for itself and once more for every chain of
    // dependents above it, so a prerequisite always outweighs the steps that need it.
    {
        std::deque<Initializer*> work(steps.begin(), steps.end());
        while (!work.empty()) {
            Initializer* step = work.front();
            work.pop_front();
            ++step->count;
            for (const Dependency& d : pairs)
                if (d.first == step)
                    work.push_back(d.second);
        }
    }

    std::sort(steps.begin(), steps.end(),
              [](const Initializer* a, const Initializer* b) { return a->count > b->count; });

    // A step may itself construct an Initializer; run over a snapshot so that it cannot move the
    // array underneath the loop.
    const std::vector<Initializer*> order = steps;
    for (Initializer* step : order) {
        Error result = step->initialize();
        if (result.num() != 0)
            return result;
    }
    return Error();
}

} // namespace qvUtil
