// Pages of recent media.
#include "PageFeed.h"
#include "media_tasks/SNRInstagramImageTask.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  feedPages(data, size);
  KBL::SNRInstagramImageTask("token", &checkMedia, &checkError).Run();
  return 0;
}
