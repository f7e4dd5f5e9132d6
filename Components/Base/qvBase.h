#ifndef QVBASE_H
#define QVBASE_H

// Every public header of the library.

#include "qvBaseExport.h"

// Core utilities
#include "qvUtilError.h"
#include "qvUtilInterval.h"
#include "qvUtilInitializer.h"

// Linear algebra
#include "qvLinearTolerance.h"
#include "qvLinearVector.h"
#include "qvLinearLine.h"
#include "qvLinearQuaternion.h"
#include "qvLinearMatrix.h"

// Packet files
#include "ioBuffer.h"
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

#endif
