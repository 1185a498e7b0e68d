// What the platforms tell of their user, and YouTube of its categories.
#include "fuzz/replies/ReplyFeed.h"
#include "requests/ProfileRequests.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ReplyFeed feed(data, size);
  feed.run<KBL::BsExternlMediaAuthYoutubeUserInfoRequest>(200);
  feed.run<KBL::BsExternlMediaAuthYoutubeVideoCategoryRequest>(200);
  feed.run<KBL::BsExternlMediaAuthTiktokUserInfoRequest>(200);
  feed.run<KBL::BsExternlMediaAuthDouyinUserInfoRequest>(200);
  feed.run<KBL::BsExternlMediaAuthYoutubeUserInfoRequest>(401);
  return 0;
}
