#include "../internal/qvOSProcessImpl.h"

#include "internal/qvUtilPlatform.h"

#include <windows.h>

using qvString::CString;
using qvUtil::Error;

namespace qvOS {

namespace {

std::string lastErrorText()
{
    return qvUtil::internal::systemErrorText(static_cast<int>(GetLastError()));
}

// One argument as the C runtime's command-line parser reads it back: quoted when it is empty
// or holds white space or quotes; backslashes doubled only where a quote follows them.
void appendQuoted(std::string& line, const char* arg)
{
    const std::string text(arg);
    if (!text.empty() && text.find_first_of(" \t\n\v\"") == std::string::npos) {
        line += text;
        return;
    }
    line += '"';
    std::size_t backslashes = 0;
    for (char c : text) {
        if (c == '\\') {
            ++backslashes;
            continue;
        }
        if (c == '"')
            line.append(backslashes * 2 + 1, '\\');
        else
            line.append(backslashes, '\\');
        backslashes = 0;
        line += c;
    }
    line.append(backslashes * 2, '\\');
    line += '"';
}

} // namespace

// Starts children with CreateProcessA and a command line quoted so that each argument arrives
// exactly as given.
class ProcessManagerWin32Impl : public ProcessManagerImpl {
public:
    Error startProcess(const std::vector<CString>& args, ProcessHandle& process) override
    {
        CString path;
        if (Error err = programOf(args, path))
            return err;
        // The program name is read up to its closing quote without escapes.
        std::string line = "\"" + std::string(path.asChar()) + "\"";
        for (std::size_t i = 1; i < args.size(); ++i) {
            line += ' ';
            appendQuoted(line, args[i].asChar());
        }
        STARTUPINFOA startup;
        ZeroMemory(&startup, sizeof startup);
        startup.cb = sizeof startup;
        PROCESS_INFORMATION info;
        ZeroMemory(&info, sizeof info);
        if (!CreateProcessA(nullptr, &line[0], nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                            nullptr, &startup, &info))
            return Error(1, "CreateProcess() failed: %s", lastErrorText().c_str());
        CloseHandle(info.hThread);
        process = static_cast<ProcessHandle>(reinterpret_cast<INT_PTR>(info.hProcess));
        return Error();
    }

    Error waitProcess(ProcessHandle process, int& exitCode) override
    {
        HANDLE handle = reinterpret_cast<HANDLE>(static_cast<INT_PTR>(process));
        Error result;
        DWORD code = 0;
        if (WaitForSingleObject(handle, INFINITE) == WAIT_FAILED)
            result = Error(1, "WaitforSingleObject() failed: %s", lastErrorText().c_str());
        else if (!GetExitCodeProcess(handle, &code))
            result = Error(1, "GetExitCodeProcess() failed: %s", lastErrorText().c_str());
        else
            exitCode = static_cast<int>(code);
        CloseHandle(handle);
        return result;
    }
};

ProcessManager* createProcessManager()
{
    return new ProcessManagerWin32Impl;
}

} // namespace qvOS
