#ifndef QVOS_FILEOPS_H
#define QVOS_FILEOPS_H

// Operations on local files by name. Their error codes are their own (see each function), not
// those of File.

#include "qvBaseExport.h"
#include "qvOSFilename.h"
#include "qvUtilError.h"

namespace qvOS {

// Code 1 with the system's text when the file cannot be deleted.
QV_BASE_API qvUtil::Error fileDelete(const Filename& name);
QV_BASE_API qvUtil::Error fileDelete(const char* name);

// "Error copying <from> to <to>: <system text>", code 2 when from does not exist, 3 when to
// exists and overwrite is false, 1 otherwise. A failed copy leaves no partial destination.
QV_BASE_API qvUtil::Error fileCopy(const Filename& from, const Filename& to, bool overwrite);
QV_BASE_API qvUtil::Error fileCopy(const char* from, const char* to, bool overwrite);

// fileCopy, then the source is deleted (a failed delete is not reported).
QV_BASE_API qvUtil::Error fileMove(const Filename& from, const Filename& to, bool overwrite);
QV_BASE_API qvUtil::Error fileMove(const char* from, const char* to, bool overwrite);

// Renames within one directory; across directories it is fileMove without overwriting. An
// existing destination is refused on every platform. Failures have code 6.
QV_BASE_API qvUtil::Error fileRename(const Filename& from, const Filename& to);
QV_BASE_API qvUtil::Error fileRename(const char* from, const char* to);

} // namespace qvOS

extern "C" {
// True when both names have a File and the copy succeeded.
QV_BASE_API bool CopyFileTo(const char* from, const char* to);
QV_BASE_API bool DoesFileExist(const char* name);
QV_BASE_API bool isFileWriteable(const char* name);
// Reads up to size bytes of the file's start into buffer: the count, or -1 on any error (a
// file shorter than size included), 0 for size 0.
QV_BASE_API int ReadHeaderFromFile(const char* name, char* buffer, int size);
// A fresh name "QV_TMP..." in the temporary directory (TEMP; on POSIX then TMPDIR, then /tmp),
// with "." and suffix appended when suffix is not null. The caller frees it with free(); null
// when no name can be made.
QV_BASE_API char* CreateTemporaryFileName(const char* suffix);
}

#endif
