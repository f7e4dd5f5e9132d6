#ifndef QVOS_PROCESS_H
#define QVOS_PROCESS_H

#include "qvBaseExport.h"
#include "qvStringCString.h"
#include "qvUtilError.h"

#include <vector>

namespace qvOS {

// Starts child processes and waits for them. No shell is involved: each argument reaches the
// child exactly as given (spaces, quotes and empty arguments included). One instance per
// process, replaceable before first use.
//
// Error codes: 1 waiting failed, 2 the program was not found (or none was named), 3 the system
// would not start it.
class QV_BASE_API ProcessManager {
public:
    // Identifies a started child until it has been waited for.
    typedef long long ProcessHandle;

    virtual ~ProcessManager();

    // The file that would run for program: a name with a directory is taken as it stands;
    // otherwise each directory of PATH is tried (on Windows with the name and then the name
    // with ".exe").
    virtual qvUtil::Error findProgram(const qvString::CString& program,
                                      qvString::CString& path) = 0;
    // Starts args[0], found as findProgram does, with args[1...] as its arguments.
    virtual qvUtil::Error startProcess(const std::vector<qvString::CString>& args,
                                       ProcessHandle& process) = 0;
    // Waits for a started child to end and gives its exit code (on POSIX, a child ended by a
    // signal gives 128 plus the signal number). The handle is released in every case.
    virtual qvUtil::Error waitProcess(ProcessHandle process, int& exitCode) = 0;
    // startProcess, then waitProcess.
    virtual qvUtil::Error runProcess(const std::vector<qvString::CString>& args, int& exitCode);

    // The installed instance; the platform's on first call when none was installed.
    static ProcessManager* getInstance();
    // Installs manager (kept for the life of the process) when no instance exists yet.
    static bool setInstance(ProcessManager* manager);

protected:
    ProcessManager() = default;

private:
    static ProcessManager* instance;
};

// A new manager of this platform.
QV_BASE_API ProcessManager* createProcessManager();

} // namespace qvOS

#endif
