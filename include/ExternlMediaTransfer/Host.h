#pragma once

// The library for hosts that would rather not count references, fill records or number commands: typed
// classes over the exports, whole in their headers, of C++17. What they bring can be waited for, taken up by
// a function, or awaited by a coroutine of C++20, and comes on the thread that the host names.
//
//   KBL::host::EventQueue queue(wakeMainLoop);
//   KBL::host::Upload upload(KBL::transferYoutube, {showPercent}, queue.executor());
//   upload.start({video, "My title"}).then([](const KBL::host::UploadEnd& end) { ... });
//
// Both ways may be used side by side. Not part of ExternlMediaTransfer.h.
#include <ExternlMediaTransfer/host/Accounts.h>
#include <ExternlMediaTransfer/host/EventQueue.h>
#include <ExternlMediaTransfer/host/Eventual.h>
#include <ExternlMediaTransfer/host/Media.h>
#include <ExternlMediaTransfer/host/Scripts.h>
#include <ExternlMediaTransfer/host/Upload.h>
