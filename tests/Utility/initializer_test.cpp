#include "qvUtilInitializer.h"

#include "internal/qvUtilInitializerState.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using qvUtil::Error;
using qvUtil::Initializer;

namespace {

// Each test builds its own steps; a step leaves the registry when it goes out of scope, so the
// tests do not see each other's steps.
class Step : public Initializer {
public:
    Step(std::string name, std::vector<std::string>& log, Error result = Error())
        : name(std::move(name)), log(log), result(result)
    {
    }
    void needs(Step& prerequisite) { dependsOn(&prerequisite); }
    Error initialize() override
    {
        log.push_back(name);
        return result;
    }

private:
    std::string name;
    std::vector<std::string>& log;
    Error result;
};

} // namespace

// Declared the way modules declare their steps: registered while static objects are built.
class StaticStep : public Initializer {
public:
    Error initialize() override
    {
        ++runs;
        return Error();
    }
    int runs = 0;
};
StaticStep staticStep;

TEST(Initializer, StaticStepRegistersBeforeMainAndRuns)
{
    int before = staticStep.runs;
    EXPECT_FALSE(Initializer::initializeAll());
    EXPECT_EQ(staticStep.runs, before + 1);
    EXPECT_GT(staticStep.getCount(), 0);
}

TEST(Initializer, PrerequisitesRunFirstAndCountsAccumulateOverRuns)
{
    std::vector<std::string> log;
    Step a("A", log), b("B", log), c("C", log);
    a.needs(b);
    b.needs(c);
    ASSERT_FALSE(Initializer::initializeAll());
    EXPECT_EQ(log, (std::vector<std::string>{"C", "B", "A"}));
    EXPECT_EQ(c.getCount(), 3);
    ASSERT_FALSE(Initializer::initializeAll()); // counts are not reset: they add up
    EXPECT_EQ(c.getCount(), 6);

    // A diamond: the shared bottom outweighs everything above it and runs first.
    std::vector<std::string> diamond;
    Step top("top", diamond), l("l", diamond), r("r", diamond), bottom("bottom", diamond);
    top.needs(l);
    top.needs(r);
    l.needs(bottom);
    r.needs(bottom);
    log.clear();
    ASSERT_FALSE(Initializer::initializeAll());
    EXPECT_EQ(bottom.getCount(), 5);
    ASSERT_EQ(diamond.size(), 4u);
    EXPECT_EQ(diamond.front(), "bottom");
    EXPECT_EQ(diamond.back(), "top");
}

TEST(Initializer, FailuresRefusalsAndGoneSteps)
{
    std::vector<std::string> log;
    {
        Step first("first", log), broken("broken", log, Error(42, "disk %s missing", "D")), last("last", log);
        last.needs(broken);
        broken.needs(first);
        Error result = Initializer::initializeAll();
        EXPECT_EQ(result.num(), 42);
        EXPECT_STREQ(result.message(), "disk D missing");
        EXPECT_EQ(log, (std::vector<std::string>{"first", "broken"})); // the run stops
    }
    log.clear();
    Step original("original", log);
    qvUtil::internal::initializerAlreadyCalled() = 1;
    Error refused = Initializer::initializeAll();
    qvUtil::internal::initializerAlreadyCalled() = 0;
    EXPECT_EQ(refused.num(), 1);
    EXPECT_STREQ(refused.message(), "Initializer::initializeAll() already called");
    EXPECT_TRUE(log.empty());

    // A prerequisite that went leaves no trace; a copy is not registered.
    {
        Step prerequisite("gone", log);
        original.needs(prerequisite);
    }
    Step copy(original);
    ASSERT_FALSE(Initializer::initializeAll());
    EXPECT_EQ(log, (std::vector<std::string>{"original"}));
    EXPECT_EQ(copy.getCount(), 0);
}
