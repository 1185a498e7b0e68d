// Pages of recent media.
#include "PageFeed.h"
#include "media_tasks/SNRInstagramImageTask.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  PageFeed feed(data, size);
  KBL::SNRInstagramImageTask("token", &checkMedia, &checkError, feed).Run();
  return 0;
}
