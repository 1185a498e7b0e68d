#pragma once

// Everything that a host needs of the library, and of the foundation what that brings.
#include <BsNet/IBsInfoReader.h>
#include <BsNet/NetKeys.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/DownloadRecords.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaPlatform.h>
#include <ExternlMediaTransfer/HostRecords.h>
#include <ExternlMediaTransfer/IBsExternlMediaAuthorize.h>
#include <ExternlMediaTransfer/IExternlMediaAuthCallback.h>
#include <ExternlMediaTransfer/IExternlMediaDownloadNews.h>
#include <ExternlMediaTransfer/IExternlMediaTransfer.h>
#include <ExternlMediaTransfer/RecordInterfaces.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <ExternlMediaTransfer/Version.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/RefPtr.h>
#include <KblUtils/Result.h>

#include <cstdint>

// The seven functions of the library. Any host thread may call any of them. None of them throws, but for the
// standard system error of a mutex that cannot be locked: want of memory is a result, as told for each.
//
// The order of use: setupTransferEnv, where scripts are wanted; getOrCreateExternlMediaAuthorize for each
// platform, then on the manager `init`, `setPubParam`, `setServerProxy` and `addAuthCallback`; records and
// transfers; `Release` of everything; teardownTransferEnv.

extern "C" {

/// The manager of a platform (0 to 3, see ExternlMediaPlatform), or null when none exists or the platform is
/// outside that range. Borrowed: no reference is added, and a last `Release` on another thread may end the
/// manager at any time. Hold on to it with `AddRef`.
KBL_TRANSFER_API KBL::IBsExternlMediaAuthorize* getExternlMediaAuthorize(int platform);

/// The manager of a platform, made when there is none; null for a platform outside 0 to 3 or when memory is
/// short. The call that made it hands out its one reference, which that caller ends with `Release`; every
/// other call borrows.
KBL_TRANSFER_API KBL::IBsExternlMediaAuthorize* getOrCreateExternlMediaAuthorize(int platform);

/// A new, empty record of a type of 400 to 406 (see ExternlMediaInfoType) with one reference, which is the
/// caller's; null for any other type or when memory is short.
KBL_TRANSFER_API KBL::IBsInfoReader* createExternlMediaAuthInfoObject(int infoType);

/// Starts the embedded interpreter with the folder `pythonHome` (UTF-8, ended by a separator). `length` bytes
/// are taken, or all up to the terminator when it is below 1. 0 when the call was carried out, whether or not
/// an interpreter runs then; 1 for a null path, and when memory was short and nothing was done. Once a
/// process; needed before transfers that scripts serve. A folder without Python's standard library ends the
/// process.
KBL_TRANSFER_API std::int32_t setupTransferEnv(const char* pythonHome, int length);

/// Ends the embedded interpreter, if one runs that the library started. Waits a few seconds at most for
/// scripts that run, and for none inside an event. Always 0.
KBL_TRANSFER_API std::int32_t teardownTransferEnv();

/// A new upload transfer for a platform of the transfer side (see TransferPlatform) with one reference, which
/// is the caller's; null when memory is short.
KBL_TRANSFER_API KBL::IExternlMediaTransfer* createEMTUpTransfer(int transferPlatform);

/// A new download transfer, which lists and downloads a user's media (see IExternlMediaTransfer for its
/// commands and DownloadRecords.h for what its callbacks bring), with one reference, which is the caller's;
/// null when memory is short.
KBL_TRANSFER_API KBL::IExternlMediaTransfer* createEMTDlTransfer();

}  // extern "C"
