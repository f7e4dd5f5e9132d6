// Runs the save_and_load example, so that the code users copy keeps working.
#include "qvOSProcess.h"
#include "qvTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using qvString::CString;

namespace {

int runExample(const std::vector<std::string>& args)
{
    std::vector<CString> command = {CString(QVBASE_SAVE_AND_LOAD)};
    for (const std::string& arg : args)
        command.emplace_back(arg.c_str());
    int code = -1;
    const qvUtil::Error err = qvOS::ProcessManager::getInstance()->runProcess(command, code);
    EXPECT_FALSE(err) << err.message();
    return code;
}

} // namespace

// Exit status 0 means the scene came back equal with every reference resolved (the reader found
// the filters itself); the file must hold checksum blocks around a compressed section right
// after the plain registry.
TEST(SaveAndLoadExample, RoundTripsInEveryMethod)
{
    qvTest::TempDir dir;
    const char* const methods[] = {"ascii", "binary", "ascii-debug", "binary-debug"}; // enum order
    for (int method = 0; method < 4; ++method) {
        SCOPED_TRACE(methods[method]);
        const std::string path = dir.file(std::string("scene-") + methods[method] + ".qv");
        ASSERT_EQ(runExample({methods[method], path}), 0);

        const std::string bytes = qvTest::readFileBytes(path);
        const size_t headerEnd = bytes.find("\n@\n");
        const size_t registryEnd = bytes.find("\n@\n", headerEnd + 1);
        ASSERT_NE(registryEnd, std::string::npos);
        EXPECT_NE(bytes.find("\n   4 node\n"), std::string::npos);
        EXPECT_EQ(bytes.substr(registryEnd + 3, 2), std::string(2, '\0')); // a block's length
        EXPECT_EQ(bytes.substr(registryEnd + 3 + 10, 3), "\x1f\x9d\x90");
    }
}

TEST(SaveAndLoadExample, RejectsBadArguments)
{
    qvTest::TempDir dir;
    EXPECT_EQ(runExample({}), 2);
    EXPECT_EQ(runExample({"text", dir.file("x.qv")}), 2);
    EXPECT_EQ(runExample({"binary", dir.file("no-such-dir/x.qv")}), 1);
}

// The README's snippets are the code of readme_snippets.cpp, which runs and checks each of them.
TEST(ReadmeSnippets, RunAndAreQuotedAsTheyAre)
{
    int code = -1;
    const qvUtil::Error err = qvOS::ProcessManager::getInstance()->runProcess({CString(QVBASE_README_SNIPPETS)}, code);
    ASSERT_FALSE(err) << err.message();
    EXPECT_EQ(code, 0);

    const std::string source = qvTest::readFileBytes(QVBASE_SOURCE_DIR "/examples/readme_snippets.cpp");
    const std::string readme = qvTest::readFileBytes(QVBASE_SOURCE_DIR "/README.md");
    int snippets = 0;
    for (size_t at = 0; (at = source.find("    // snippet\n", at)) != std::string::npos; ++snippets) {
        at += 15;
        size_t end = source.find("    // end\n", at);
        ASSERT_NE(end, std::string::npos);
        // The function body without its first level of indentation.
        std::string quoted;
        for (size_t line = at; line < end;) {
            size_t next = source.find('\n', line) + 1;
            quoted += source.compare(line, 4, "    ") == 0 ? source.substr(line + 4, next - line - 4)
                                                            : source.substr(line, next - line);
            line = next;
        }
        EXPECT_NE(readme.find("```cpp\n" + quoted + "```\n"), std::string::npos) << "not in README.md:\n" << quoted;
        at = end;
    }
    EXPECT_EQ(snippets, 4);
}
