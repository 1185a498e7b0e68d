// The smallest list: the addresses of somebody's pictures at Instagram, and the first one as a file.
// Usage: minimal_list CLOUD_CONFIG TOKEN FILE
#include <BsCloudConfig/BsCloudConfig.h>
#include <ExternlMediaTransfer/Host.h>

#include <iostream>
#include <string>

using namespace KBL::host;

int main(int argc, char** argv) {
  if (argc != 4 || !KBL::loadCloudConfig(argv[1]).empty()) return 2;

  Media media;
  std::string first;
  MediaEnd end = media
                     .listInstagram(argv[2],
                                    [&first](const MediaItem& item) {
                                      std::cout << item.address << std::endl;
                                      if (first.empty()) first = item.address;
                                    })
                     .future()
                     .get();
  if (end.isGood() && !first.empty()) end = media.download(first, argv[3]).future().get();
  if (!end.isGood()) std::cout << end.failure.message << std::endl;
  return end.isGood() ? 0 : 1;
}
