#pragma once

#include <KblUtils/IDmBaseObj.h>

#include <cstdint>

namespace KBL {

/// The host's handle to one upload (`createEMTUpTransfer`) or to listings and downloads
/// (`createEMTDlTransfer`). Numbered commands take 64-bit arguments, read in order as pointers unless a
/// command says otherwise: hand over pointers of exactly the type that is named, a null as
/// `static_cast<void*>(nullptr)`, never a plain 0. One thread at a time, and any event of the transfer's own.
/// Name for QueryInterfaceByName: "IExternlMediaTransfer".
///
/// The numbers have names in TransferNumbers.h. No operation throws. Results are values of _Result: 0 done, 1
/// failed or memory is short, 2 a required pointer is null, 3 no object could serve, 5 unknown command.
///
/// Commands of an upload; 2, 5, 6, 8 and 9 serve platforms of scripts alone and do nothing where the
/// platform's manager exists:
///
///    0 job             const hostTransferRecord*, copied
///    1 event function  TransferCallback
///    2 share           hostShareRecord*
///    5 login           const char* address that the browser reached, char* error buffer of 1024 bytes: 0
///                      accepted, 1 failed and the buffer tells why, 2 not usable
///    6 token           const char* token as Query 7 gave it, char* error buffer of 1024 bytes: 0, or 1
///    8 brand           long long 0 or 1; always 0
///    9 application     const char* key, const char* secret, const char* redirect address
///   15 context         void*, null allowed
///
/// Queries of an upload:
///
///    3 login address   char* buffer of 8192 bytes; 2 when there is no address
///    4 sign out        none: the user who signed in last
///    7 user            hostAccountRecord* with room behind it; 1 when nobody is signed in
///   15 context         void**
///
/// Commands of a download transfer (records and callbacks: DownloadRecords.h); each stops the job before it
/// and sets up the next. Texts may not be null, callbacks may. Texts are UTF-8 but for the save path, which
/// is narrow text of the system:
///
///   10 download        const char* address, const char* save path, MediaErrorCallback, MediaProgressCallback
///   11 Facebook albums const char* token, AlbumCallback, MediaErrorCallback
///   12 Facebook album  const char* token, const char* album id, MediaCallback, MediaErrorCallback
///   13 Flickr          const char* key, const char* secret, const char* token pair, MediaCallback,
///                      MediaErrorCallback
///   14 Instagram       const char* token, MediaCallback, MediaErrorCallback
///   15 context         void*, null allowed
///
/// Query 15 of a download transfer writes the context to a void** and gives 5 all the same.
class IExternlMediaTransfer : public virtual IDmBaseObj {
 public:
  /// Starts the job of the last command and does not wait for it. Upload: 0 handed over, 1 the manager has
  /// gone, 2 before command 0, 3 nothing can serve the platform. Download: always 4, also when all is well.
  virtual std::int32_t Start() = 0;
  /// Stops the job. Upload: returns at once, what is still on its way may bring events. Download: waits until
  /// no callback runs or will run, unless it is called within one; 0. A Start meanwhile starts nothing.
  virtual std::int32_t Stop() = 0;
  /// Gives the transfer what the tables above name.
  virtual std::int32_t Command(int command, ...) = 0;
  /// Asks for what the tables above name.
  virtual std::int32_t Query(int command, ...) = 0;

 protected:
  ~IExternlMediaTransfer() = default;
};

/// Upload events reach the host through this function: the context of command 15, the transfer, the event (7
/// progress, 8 finished, 9 token invalid, 12 error), a value (percent, 0, 0, the error's number) and a text
/// (null, the video address, a text, "code,message"). Called on worker or script threads; the text is
/// borrowed for the call. The result is ignored, and a call that throws counts as one that returned.
///
/// The transfer may be released inside, and its pointer stays readable until the call returns. No event
/// begins after the last `Release`; outside every callback that waits for the events that run, so that the
/// context may go behind it. The host then holds no lock that its event function takes.
using TransferCallback = int (*)(void* context, IExternlMediaTransfer* transfer, int event, int value,
                                 const char* text);

}  // namespace KBL
