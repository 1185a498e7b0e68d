#pragma once

#include <KblUtils/IDmBaseObj.h>

#include <cstdint>

namespace KBL {

/// The host's handle to one upload (`createEMTUpTransfer`) or to listings and downloads
/// (`createEMTDlTransfer`). Numbered commands take 64-bit arguments, read in order as pointers unless a
/// command says otherwise: hand over pointers of exactly the type that is named, a null as
/// `static_cast<void*>(nullptr)`, never a plain 0. An upload takes one thread at a time, and any event of
/// its own; a download any thread.
/// Name for QueryInterfaceByName: "IExternlMediaTransfer".
///
/// Commands and queries with their arguments and results stand in TransferNumbers.h. No operation throws.
/// Results are values of _Result: 0 done, 1 failed or memory is short, 2 a required pointer is null, 3
/// nothing could serve, 5 unknown command.
///
/// Commands 2, 5, 6, 8 and 9 and query 3 serve platforms of scripts alone; where the platform's manager
/// exists they warn in the log, do nothing and give 0 (5 and 6 say so in the error buffer). Each command of a
/// download transfer stops the job before it and sets up the next (records and callbacks: DownloadRecords.h).
/// Texts may not be null, callbacks may. Texts are UTF-8 but for the save path.
class IExternlMediaTransfer : public virtual IDmBaseObj {
 public:
  /// Starts the job of the last command and does not wait for it. Upload: 0 handed over, 1 the manager has
  /// gone, 2 before command 0, 3 nothing can serve the platform. Download: always 4, also when all is well.
  /// Calls back within itself: an upload for a user who is not cached (`queryResponse` of type 406, -10002),
  /// or for which no request could be made (-10004).
  virtual std::int32_t Start() = 0;
  /// Stops the job. Upload: returns at once, what is still on its way may bring events. Download: waits until
  /// no callback runs or will run, unless it is called within one; 0. A Start meanwhile starts nothing.
  virtual std::int32_t Stop() = 0;
  /// Gives the transfer what TransferCommand names.
  virtual std::int32_t Command(int command, ...) = 0;
  /// Asks for what TransferQuery names.
  /// Calls back within itself: query 4 of a native platform with nobody signed in (`queryResponse` of type
  /// 402, -10021).
  virtual std::int32_t Query(int command, ...) = 0;

 protected:
  ~IExternlMediaTransfer() = default;
};

/// Upload events reach the host through this function: the context of command 15, the transfer, a
/// TransferEvent, its value and its text. Called on worker or script threads; the text is
/// borrowed for the call. The result is ignored, and a call that throws counts as one that returned.
///
/// The transfer may be released inside, and its pointer stays readable until the call returns. No event
/// begins after the last `Release`; outside every callback that waits for the events that run, so that the
/// context may go behind it. The host then holds no lock that its event function takes.
using TransferCallback = int (*)(void* context, IExternlMediaTransfer* transfer, int event, int value,
                                 const char* text);

}  // namespace KBL
