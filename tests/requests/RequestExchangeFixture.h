#pragma once

#include "boundary/records/Records.h"
#include "requests/ProbeRequest.h"
#include "requests/RequestsFixture.h"

/// A request whose single attempt runs on the test's own thread.
class RequestExchangeFixture : public RequestsFixture {
 protected:
  void SetUp() override {
    RequestsFixture::SetUp();
    info = KBL::makeRef<KBL::BsExternlMediaAuthMixedInfo>();
    request = makeRequest<ProbeRequest>();
  }
  void TearDown() override {
    request.reset();
    RequestsFixture::TearDown();
  }
  void exchange() { request->syncRequestWithInfo(info.get()); }
  void exchange(const KBL::NetReply& reply) {
    network.answer(reply);
    exchange();
  }

  KBL::RefPtr<KBL::BsExternlMediaAuthMixedInfo> info;
  KBL::RefPtr<ProbeRequest> request;
};
