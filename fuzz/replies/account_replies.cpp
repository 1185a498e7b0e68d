// The account server's replies: tokens, the state of a login, its address, the permission to use the service.
#include "fuzz/replies/ReplyFeed.h"
#include "requests/AccountRequests.h"
#include "requests/BsExternlMediaAuthUserSupportSessionRequest.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ReplyFeed feed(data, size);
  feed.run<KBL::BsExternlMediaAuthClientCredentialsRequest>(200);
  feed.run<KBL::BsExternlMediaAuthUserSupportSessionRequest>(200);
  feed.run<KBL::BsExternlMediaAuthUserSupportCodeRequest>(200);
  feed.run<KBL::BsExternlMediaAuthUserSupportTokenRequest>(200);
  feed.run<KBL::BsExternlMediaAuthUserSupportConsumeRequest>(200);
  feed.run<KBL::BsExternlMediaAuthClientCredentialsRequest>(500);
  return 0;
}
