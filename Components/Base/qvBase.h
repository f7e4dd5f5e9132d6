#ifndef QVBASE_H
#define QVBASE_H

// Every public header of the library.

#include "qvBaseExport.h"

// Core utilities
#include "qvUtilError.h"
#include "qvUtilInterval.h"
#include "qvUtilInitializer.h"
#include "qvUtilSplit.h"

// Linear algebra
#include "qvLinearTolerance.h"
#include "qvLinearVector.h"
#include "qvLinearLine.h"
#include "qvLinearQuaternion.h"
#include "qvLinearMatrix.h"

// Strings
#include "qvStringString.h"
#include "qvStringCString.h"
#include "qvStringIString.h"
#include "qvStringCharClass.h"

// Signals
#include "qvRTBFunction.h"
#include "qvRTBSignal.h"
#include "qvUtilPointerSignals.h"

// Threads
#include "qvThreadCondition.h"
#include "qvThreadMutex.h"
#include "qvThreadThread.h"

// TCP
#include "qvTCPAddress.h"
#include "qvTCPSocket.h"
#include "qvTCPServer.h"

// Undo
#include "qvUndoCommand.h"
#include "qvUndoGroup.h"
#include "qvUndoManager.h"

// Packet files
#include "ioBuffer.h"
#include "ioBufferTCP.h"
#include "ioBufferedStream.h"
#include "ioBufferCompress.h"
#include "ioBufferChecksum.h"
#include "ioBufferEncrypt.h"
#include "ioHeader.h"
#include "ioPacketType.h"
#include "ioPacketRegistry.h"
#include "ioReferenceMap.h"
#include "ioContext.h"
#include "ioPacketFileAscii.h"
#include "ioPacketFileBinary.h"
#include "ioPacketFileDebug.h"

// Files and operating system
#include "qvOSFilename.h"
#include "qvOSFileStatus.h"
#include "qvOSFile.h"
#include "qvOSLocalFile.h"
#include "qvOSFileOps.h"
#include "qvOSURL.h"
#include "qvOSProcess.h"
#include "qvOSSysInfo.h"
#include "qvOSStopWatch.h"
#include "qvOSLocale.h"
#include "qvOSByteOrder.h"

#endif
