// The paths on which the library spends its time, to be run under callgrind, which counts the instructions of
// `hotPathRounds` alone: PATH COUNT [ARGUMENT...]. One round runs ahead of those that are counted.
//   page             a page of 50 photos is read, by a listing that fetches it from memory
//   exchange URL     a small request over HTTP, by a client of its own
//   chunk URL FILE   2 MiB are sent from a file
//   save FOLDER      the users of a cache are saved
//   load FOLDER      they are loaded
#include "authorize/CacheFile.h"
#include "json/JsonAccess.h"
#include "media_tasks/SNRFlickrImageTask.h"
#include "uploaders/requests/FilePieces.h"
#include <BsNet/NetworkClients.h>
#include <BsNet/cipher.h>
#include <ExternlMediaTransfer/IBsExternlMediaAuthorize.h>

#include <json/value.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int photosPerPage = 50;
constexpr std::uint64_t chunkBytes = 2 << 20;

/// A part of the work; false when it failed.
using Round = std::function<bool()>;

std::string pageOfPhotos() {
  Json::Value page;
  page["stat"] = "ok";
  page["photos"]["page"] = 1;
  page["photos"]["pages"] = 1;
  for (int number = 0; number < photosPerPage; ++number) {
    const std::string id = std::to_string(50000000000 + number);
    Json::Value photo;
    photo["id"] = id;
    photo["owner"] = "12345678@N00";
    photo["secret"] = "0123456789";
    photo["server"] = "65535";
    photo["farm"] = 66;
    photo["title"] = "A picture of the sea, number " + id;
    photo["url_o"] = "https://photos.example.net/65535/" + id + "_0123456789_o.jpg";
    page["photos"]["photo"].append(photo);
  }
  return KBL::compactJson(page);
}

/// Every address is the same page.
class PageFetcher final : public KBL::MediaFetcher {
 public:
  KBL::FetchResult fetch(const std::string&, std::size_t, KBL::FetchListener& listener) override {
    const bool isTaken = listener.takePiece(page_.data(), page_.size());
    return {isTaken ? KBL::FetchResult::End::good : KBL::FetchResult::End::failed, {}, 200};
  }

 private:
  const std::string page_ = pageOfPhotos();
};

std::int32_t countPhoto(void* photos, KBL::IExternlMediaTransfer*, const KBL::hostMediaRecord* media) {
  *static_cast<int*>(photos) += media->more;
  return 1;
}

std::int32_t ignoreError(void*, KBL::IExternlMediaTransfer*, const KBL::hostErrorRecord*) {
  return 0;
}

Round pageRound() {
  return [] {
    static PageFetcher fetcher;
    int photos = 0;
    KBL::SNRFlickrImageTask task("key", "secret", "token", &countPhoto, &ignoreError, fetcher);
    task.setHostContext(&photos);
    task.Run();
    return photos == photosPerPage;
  };
}

Round exchangeRound(const std::string& url) {
  return [url] {
    const KBL::OwnedNetworkClient client(KBL::makeNetworkClient());
    client->setHeaders({{"Content-Type", "application/json"}, {"Authorization", "Bearer 0123456789"}});
    client->setBody(R"({"third_platform":"youtube","state":"0123456789"})");
    return client->perform(KBL::URL::FromString(url), KBL::httpPost, nullptr, nullptr, nullptr, nullptr)
               .httpCode == 200;
  };
}

/// One client and one file, as an upload has them.
struct Sending {
  const KBL::OwnedNetworkClient client{KBL::makeNetworkClient()};
  KBL::FileStream file;
  KBL::FilePieces pieces{file, *client};
};

Round chunkRound(const std::string& url, const char* path) {
  static Sending sending;
  if (!sending.file.open(KBL::Path(path), "rb")) return [] { return false; };
  return [url] {
    if (sending.pieces.moveTo(0, chunkBytes) != chunkBytes) return false;
    sending.client->setHeaders({{"Content-Range", "bytes 0-2097151/4194304"}});
    sending.pieces.give();
    return sending.client
               ->perform(KBL::URL::FromString(url), KBL::httpPut, nullptr, nullptr, nullptr, nullptr)
               .httpCode == 308;
  };
}

Round cacheRound(const std::string& folder, bool isSaved) {
  KBL::setKeyStore(KBL::makeFileKeyStore(folder));
  const std::string path = KBL::cacheFilePath(folder, KBL::ema_youtube);
  KBL::CacheEntries users;
  if (!KBL::loadCacheFile(path, users)) return [] { return false; };
  if (isSaved) return [path, users] { return KBL::saveCacheFile(path, users); };
  return [path] {
    KBL::CacheEntries loaded;
    return KBL::loadCacheFile(path, loaded).loaded;
  };
}

Round roundOf(const std::string& path, const std::vector<const char*>& rest) {
  if (path == "page" && rest.empty()) return pageRound();
  if (path == "exchange" && rest.size() == 1) return exchangeRound(rest[0]);
  if (path == "chunk" && rest.size() == 2) return chunkRound(rest[0], rest[1]);
  if (path == "save" && rest.size() == 1) return cacheRound(rest[0], true);
  if (path == "load" && rest.size() == 1) return cacheRound(rest[0], false);
  return {};
}

}  // namespace

/// What is counted, by its name.
extern "C" [[gnu::noinline]] bool hotPathRounds(const Round& round, int count) {
  while (count > 0 && round()) --count;
  return count == 0;
}

int main(int count, char** arguments) {
  if (count < 3) return 2;
  const Round round = roundOf(arguments[1], {arguments + 3, arguments + count});
  if (!round) return 2;
  return round() && hotPathRounds(round, std::atoi(arguments[2])) ? 0 : 1;
}
