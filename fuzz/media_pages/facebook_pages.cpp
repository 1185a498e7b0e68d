// Album pages, photo pages, and posts with their videos' own objects.
#include "PageFeed.h"
#include "media_tasks/SNRFacebookEnumAlbumInfoTask.h"
#include "media_tasks/SNRFacebookEnumMediaInfoTask.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  feedPages(data, size);
  KBL::SNRFacebookEnumAlbumInfoTask("token", &checkAlbum, &checkError).Run();
  for (const char* album : {"1", "FACEBOOK_VIDEO"}) {
    feedPages(data, size);
    KBL::SNRFacebookEnumMediaInfoTask("token", album, &checkMedia, &checkError).Run();
  }
  return 0;
}
