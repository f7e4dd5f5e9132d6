#include "qvOSProcess.h"

#include "internal/qvOSPlatform.h"
#include "internal/qvOSProcessImpl.h"

#include <cstdlib>

using qvString::CString;
using qvUtil::Error;

namespace qvOS {

ProcessManager* ProcessManager::instance = nullptr;

ProcessManager::~ProcessManager() = default;

Error ProcessManager::runProcess(const std::vector<CString>& args, int& exitCode)
{
    ProcessHandle process = 0;
    if (Error err = startProcess(args, process))
        return err;
    return waitProcess(process, exitCode);
}

ProcessManager* ProcessManager::getInstance()
{
    if (!instance)
        instance = createProcessManager();
    return instance;
}

bool ProcessManager::setInstance(ProcessManager* manager)
{
    if (instance)
        return false;
    instance = manager;
    return true;
}

namespace {

bool hasDirectory(const CString& name)
{
    return name.find('/') != CString::npos || name.find(internal::nativeSeparator()) != CString::npos;
}

} // namespace

Error ProcessManagerImpl::findProgram(const CString& program, CString& path)
{
    if (program.isEmpty())
        return Error(2, "no executable specified");
    if (hasDirectory(program)) {
        if (!internal::isProgram(program.asChar()))
            return Error(3, "%s: program not found.", program.asChar());
        path = program;
        return Error();
    }
    const char* list = std::getenv("PATH");
    if (!list)
        return Error(3, "PATH environment variable not set.");
    if (!*list)
        return Error(3, "PATH environment variable is empty.");
    const std::string dirs(list);
    const char listSeparator = internal::pathListSeparator();
    const std::string suffix = internal::executableSuffix();
    std::size_t start = 0;
    while (start <= dirs.size()) {
        std::size_t end = dirs.find(listSeparator, start);
        if (end == std::string::npos)
            end = dirs.size();
        std::string dir = dirs.substr(start, end - start);
        start = end + 1;
        if (dir.empty())
            continue;
        if (dir.back() != '/' && dir.back() != internal::nativeSeparator())
            dir += internal::nativeSeparator();
        const std::string plain = dir + program.asChar();
        if (internal::isProgram(plain)) {
            path = plain.c_str();
            return Error();
        }
        if (!suffix.empty() && internal::isProgram(plain + suffix)) {
            path = (plain + suffix).c_str();
            return Error();
        }
    }
    return Error(3, "%s: program not found.", program.asChar());
}

Error ProcessManagerImpl::programOf(const std::vector<CString>& args, CString& path)
{
    if (args.empty())
        return Error(2, "no executable specified");
    return findProgram(args[0], path);
}

} // namespace qvOS
