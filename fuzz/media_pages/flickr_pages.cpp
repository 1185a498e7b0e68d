// Pages of photos, under either signature.
#include "PageFeed.h"
#include "media_tasks/SNRFlickrImageTask.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  for (const char* pair : {"token|secret", "|token"}) {
    PageFeed feed(data, size);
    KBL::SNRFlickrImageTask("key", "secret", pair, &checkMedia, &checkError, feed).Run();
  }
  return 0;
}
