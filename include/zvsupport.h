/*
 * zvsupport.h - every public interface of the zvsupport library.
 */
#ifndef ZVSUPPORT_H
#define ZVSUPPORT_H

#include "ZVTypes.h"
#include "TarnError.h"
#include "TarnString.h"
#include "TarnTime.h"
#include "TarnFile.h"
#include "TarnNet.h"
#include "OSUtils.h"
#include "ZVMapFile.h"
#include "ZVSharedData.h"
#include "ZVCmnFileHdr.h"
#include "ZVEnvData.h"
#include "ZVTokenProvider.h"
#include "ZVParseEnvFile.h"
#include "ZVEnvFile.h"
#include "ZVFileAccess.h"
#include "ZVErrorHistory.h"
#include "ZVErrHistFunc.h"

#endif /* ZVSUPPORT_H */
