#include "../internal/qvOSProcessImpl.h"

#include "internal/qvUtilPlatform.h"

#include <cerrno>
#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

using qvString::CString;
using qvUtil::Error;

namespace qvOS {

// Children are started with posix_spawn: the argument vector reaches them unchanged.
class ProcessManagerPosixImpl : public ProcessManagerImpl {
public:
    Error startProcess(const std::vector<CString>& args, ProcessHandle& process) override
    {
        CString path;
        if (Error err = programOf(args, path))
            return err;
        std::vector<char*> argv;
        argv.reserve(args.size() + 1);
        for (const CString& arg : args)
            argv.push_back(const_cast<char*>(arg.asChar()));
        argv.push_back(nullptr);
        pid_t pid = 0;
        const int err = ::posix_spawn(&pid, path.asChar(), nullptr, nullptr, argv.data(), environ);
        if (err != 0)
            return Error(1, "CreateProcess() failed: %s",
                         qvUtil::internal::systemErrorText(err).c_str());
        process = pid;
        return Error();
    }

    Error waitProcess(ProcessHandle process, int& exitCode) override
    {
        int status = 0;
        pid_t result;
        do {
            result = ::waitpid(static_cast<pid_t>(process), &status, 0);
        } while (result < 0 && errno == EINTR);
        if (result < 0)
            return Error(1, "WaitforSingleObject() failed: %s",
                         qvUtil::internal::systemErrorText(errno).c_str());
        if (WIFEXITED(status))
            exitCode = WEXITSTATUS(status);
        else if (WIFSIGNALED(status))
            exitCode = 128 + WTERMSIG(status);
        else
            return Error(1, "GetExitCodeProcess() failed: %s",
                         qvUtil::internal::systemErrorText(ECHILD).c_str());
        return Error();
    }
};

ProcessManager* createProcessManager()
{
    return new ProcessManagerPosixImpl;
}

} // namespace qvOS
