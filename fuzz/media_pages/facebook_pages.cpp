// Album pages, photo pages, and posts with their videos' own objects.
#include "PageFeed.h"
#include "media_tasks/SNRFacebookEnumAlbumInfoTask.h"
#include "media_tasks/SNRFacebookEnumMediaInfoTask.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  PageFeed albums(data, size);
  KBL::SNRFacebookEnumAlbumInfoTask("token", &checkAlbum, &checkError, albums).Run();
  for (const char* album : {"1", "FACEBOOK_VIDEO"}) {
    PageFeed media(data, size);
    KBL::SNRFacebookEnumMediaInfoTask("token", album, &checkMedia, &checkError, media).Run();
  }
  return 0;
}
