#pragma once

#include "support/MediaHost.h"
#include "support/PageServer.h"
#include "support/TemporaryDirectory.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/RefPtr.h>

#include <gmock/gmock.h>

#include <cstdint>

using Transfer = KBL::RefPtr<KBL::IExternlMediaTransfer>;

/// A download transfer with a host as its context, and a server that the services' addresses lead to.
class DownloadTransferTest : public testing::Test {
 protected:
  DownloadTransferTest() { transfer->Command(KBL::commandSetContext, static_cast<void*>(&host)); }

  std::int32_t commandAlbums(const char* token = "TOKEN") { return commandAlbums(*transfer, token); }
  static std::int32_t commandAlbums(KBL::IExternlMediaTransfer& on, const char* token) {
    return on.Command(KBL::commandListFacebookAlbums, token, &MediaHost::onAlbum, &MediaHost::onError);
  }

  PageServer server;
  ScopedMediaHosts hosts{server};
  TemporaryDirectory directory;
  MediaHost host;
  Transfer transfer = KBL::adoptRef(createEMTDlTransfer());
};
