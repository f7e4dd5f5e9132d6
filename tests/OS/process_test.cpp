#include "qvOSProcess.h"
#include "qvTestEnvironment.h"
#include "qvTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using qvOS::ProcessManager;
using qvString::CString;
using qvUtil::Error;

namespace {

// The directory and file name of the child program built with the tests.
std::string childDirectory()
{
    const std::string path = QVBASE_ECHO_ARGS;
    return path.substr(0, path.find_last_of("/\\"));
}

std::string childName()
{
    const std::string path = QVBASE_ECHO_ARGS;
    return path.substr(path.find_last_of("/\\") + 1);
}

} // namespace

TEST(ProcessManager, ArgumentsReachTheChildExactly)
{
    qvTest::TempDir temp;
    const std::string out = temp.file("args.txt");
    ProcessManager* manager = ProcessManager::getInstance();
    ASSERT_NE(manager, nullptr);

    const std::vector<CString> args = {CString(QVBASE_ECHO_ARGS), CString(out.c_str()),
                                       CString("7"),
                                       CString("plain"),
                                       CString("two words"),
                                       CString(""),
                                       CString("say \"hi\""),
                                       CString("trailing\\"),
                                       CString("back\\\\\"slash"),
                                       CString("\ttab")};
    int code = -1;
    const Error err = manager->runProcess(args, code);
    ASSERT_FALSE(err) << err.message();
    EXPECT_EQ(code, 7);
    EXPECT_EQ(qvTest::readFileBytes(out), "[plain]\n[two words]\n[]\n[say \"hi\"]\n[trailing\\]\n"
                                          "[back\\\\\"slash]\n[\ttab]\n");

    ProcessManager::ProcessHandle child = 0;
    ASSERT_FALSE(manager->startProcess({CString(QVBASE_ECHO_ARGS), CString(out.c_str()),
                                        CString("0")},
                                       child));
    ASSERT_FALSE(manager->waitProcess(child, code));
    EXPECT_EQ(code, 0);
    EXPECT_EQ(qvTest::readFileBytes(out), "");
}

TEST(ProcessManager, ProgramsAreFoundOnThePath)
{
    ProcessManager* manager = ProcessManager::getInstance();
    // The first instance stays: a later one is refused.
    EXPECT_FALSE(ProcessManager::setInstance(nullptr));
    EXPECT_EQ(ProcessManager::getInstance(), manager);
    // The failures and their codes are in the library's table of error codes.
    CString found;
    int code = 0;
    EXPECT_EQ(manager->runProcess({}, code).num(), 2);

    // On Windows the name without ".exe" is found too.
    std::string bare = childName();
    if (qvTest::runningOnWindows())
        bare = bare.substr(0, bare.size() - 4);
    const std::string list = std::string("/nonexistent") + (qvTest::runningOnWindows() ? ";" : ":")
        + childDirectory();
    {
        qvTest::ScopedEnvironment path("PATH", list.c_str());
        ASSERT_FALSE(manager->findProgram(CString(bare.c_str()), found));
        EXPECT_NE(std::string(found.asChar()).find(childName()), std::string::npos);
        qvTest::TempDir temp;
        const std::string out = temp.file("o");
        ASSERT_FALSE(manager->runProcess({CString(bare.c_str()), CString(out.c_str()),
                                          CString("3"), CString("x y")},
                                         code));
        EXPECT_EQ(code, 3);
        EXPECT_EQ(qvTest::readFileBytes(out), "[x y]\n");
    }
}
