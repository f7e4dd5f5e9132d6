#ifndef QVOS_INTERNAL_PROCESSIMPL_H
#define QVOS_INTERNAL_PROCESSIMPL_H

#include "qvOSProcess.h"

namespace qvOS {

// The program search that both platforms share; starting and waiting are the platform's.
class ProcessManagerImpl : public ProcessManager {
public:
    qvUtil::Error findProgram(const qvString::CString& program, qvString::CString& path) override;

protected:
    // The file to start for args[0], or the reason there is none.
    qvUtil::Error programOf(const std::vector<qvString::CString>& args, qvString::CString& path);
};

} // namespace qvOS

#endif
