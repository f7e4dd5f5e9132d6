#include "qvOSProcess.h"
#include "qvTestEnvironment.h"
#include "qvTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using qvOS::ProcessManager;
using qvString::CString;
using qvUtil::Error;

TEST(ProcessManager, ArgumentsReachTheChildExactly)
{
    qvTest::TempDir temp;
    const std::string out = temp.file("args.txt");
    ProcessManager* manager = ProcessManager::getInstance();
    ASSERT_NE(manager, nullptr);

    const std::vector<CString> args = {CString(QVBASE_ECHO_ARGS), CString(out.c_str()), CString("7"),
                                       CString("plain"), CString("two words"), CString(""),
                                       CString("say \"hi\""), CString("trailing\\"),
                                       CString("back\\\\\"slash"), CString("\ttab")};
    int code = -1;
    const Error err = manager->runProcess(args, code);
    ASSERT_FALSE(err) << err.message();
    EXPECT_EQ(code, 7);
    EXPECT_EQ(qvTest::readFileBytes(out), "[plain]\n[two words]\n[]\n[say \"hi\"]\n[trailing\\]\n"
                                          "[back\\\\\"slash]\n[\ttab]\n");

    ProcessManager::ProcessHandle child = 0;
    ASSERT_FALSE(manager->startProcess({CString(QVBASE_ECHO_ARGS), CString(out.c_str()), CString("0")}, child));
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

    // The child program built with the tests, in its directory; on Windows the name without
    // ".exe" is found too.
    const std::string child = QVBASE_ECHO_ARGS;
    const std::size_t slash = child.find_last_of("/\\");
    const std::string childName = child.substr(slash + 1);
    const std::string bare = qvTest::runningOnWindows() ? childName.substr(0, childName.size() - 4) : childName;
    const std::string list = std::string("/nonexistent") + (qvTest::runningOnWindows() ? ";" : ":")
        + child.substr(0, slash);
    qvTest::ScopedEnvironment path("PATH", list.c_str());
    ASSERT_FALSE(manager->findProgram(CString(bare.c_str()), found));
    EXPECT_NE(std::string(found.asChar()).find(childName), std::string::npos);
    qvTest::TempDir temp;
    const std::string out = temp.file("o");
    ASSERT_FALSE(
        manager->runProcess({CString(bare.c_str()), CString(out.c_str()), CString("3"), CString("x y")}, code));
    EXPECT_EQ(code, 3);
    EXPECT_EQ(qvTest::readFileBytes(out), "[x y]\n");
}
