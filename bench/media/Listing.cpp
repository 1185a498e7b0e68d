// What the library adds to a list of 100,000 photos over 2,000 pages: time a page beside the bare fetch and
// parse of the same pages, and memory from the 200th page to the last. The servers run in a process of their
// own, so that their memory does not count. [PAGES ROUNDS]: prints the microseconds a page of both in each
// round.
#include "media_tasks/CurlMediaFetcher.h"
#include "media_tasks/FlickrUrl.h"
#include "media_tasks/MediaHosts.h"
#include "media_tasks/SNRFlickrImageTask.h"
#include "sandbox/Sandbox.h"
#include "sandbox/base/MediaAccounts.h"
#include <BsCloudConfig/BsCloudConfig.h>

#include <curl/curl.h>
#include <json/reader.h>
#include <json/value.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <memory>
#include <optional>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int photosPerPage = 50;
constexpr int settledPage = 200;
constexpr double largestGrowthMiB = 2;

double residentMiB() {
  std::ifstream status("/proc/self/statm");
  long total = 0;
  long resident = 0;
  status >> total >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

struct Size {
  int pages = 2000;
  int rounds = 7;
  bool isTold = false;  ///< each round is printed
};

struct Listing {
  int photos = 0;
  bool hasFailed = false;
  double settledMiB = 0;
};

std::int32_t onMedia(void* context, KBL::IExternlMediaTransfer*, const KBL::hostMediaRecord* media) {
  auto* const listing = static_cast<Listing*>(context);
  if (media->more == 0) return 1;
  if (++listing->photos == settledPage * photosPerPage) listing->settledMiB = residentMiB();
  return 1;
}

std::int32_t onError(void* context, KBL::IExternlMediaTransfer*, const KBL::hostErrorRecord*) {
  static_cast<Listing*>(context)->hasFailed = true;
  return 0;
}

std::size_t append(char* data, std::size_t size, std::size_t count, void* body) {
  static_cast<std::string*>(body)->append(data, size * count);
  return size * count;
}

/// A fetch with the least that a list needs.
bool fetchAndParse(const std::string& url) {
  CURL* const easy = curl_easy_init();
  std::string body;
  curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &append);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
  curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
  const CURLcode result = curl_easy_perform(easy);
  curl_easy_cleanup(easy);
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  Json::Value page;
  return result == CURLE_OK && reader->parse(body.data(), body.data() + body.size(), &page, nullptr) &&
         page["photos"]["photo"].size() == photosPerPage;
}

double microsecondsAPage(Clock::duration time, int pages) {
  return std::chrono::duration<double, std::micro>(time).count() / pages;
}

/// The servers, until `stop` is closed; writes their port to `told`.
int serve(int told, int stop, int pages) {
  sandbox::SandboxOptions options;
  options.mediaPhotos = static_cast<std::size_t>(pages) * photosPerPage;
  options.recordedTotalLimit = 0;
  const sandbox::Sandbox server(options);
  const int port = server.port();
  if (write(told, &port, sizeof(port)) != sizeof(port)) return 1;
  char byte = 0;
  while (read(stop, &byte, 1) > 0) {
  }
  return 0;
}

/// Every page fetched and parsed with the least; microseconds a page, nothing on trouble.
std::optional<double> fetchAll(const std::string& base, const std::string& pair, int pages) {
  const KBL::FlickrCredentials credentials(sandbox::flickrApplicationKey, sandbox::flickrApplicationSecret,
                                           pair);
  const Clock::time_point start = Clock::now();
  for (int page = 1; page <= pages; ++page) {
    if (!fetchAndParse(KBL::flickrPageUrl(credentials, base, page, photosPerPage, 0))) return std::nullopt;
  }
  return microsecondsAPage(Clock::now() - start, pages);
}

/// The same pages by the library.
std::optional<double> listAll(const std::string& pair, Listing& listing, int pages) {
  KBL::SNRFlickrImageTask task(sandbox::flickrApplicationKey, sandbox::flickrApplicationSecret, pair,
                               &onMedia, &onError, KBL::curlMediaFetcher());
  task.setHostContext(&listing);
  const Clock::time_point start = Clock::now();
  task.Run();
  if (listing.hasFailed || listing.photos != pages * photosPerPage) return std::nullopt;
  return microsecondsAPage(Clock::now() - start, pages);
}

int measure(int port, const Size& size) {
  const std::string base = "http://127.0.0.1:" + std::to_string(port) + "/flickr";
  KBL::setCloudConfig({{"urlMediaFlickrRest", base}, {"urlMediaFlickrPhoto", base + "/farm%d"}});
  const std::string pair = sandbox::firstMediaAccount().flickrToken;
  double bare = std::numeric_limits<double>::max();
  double listed = bare;
  double largestGrowth = 0;
  double settled = 0;
  // In turn, so that whatever else the machine does meets both; the fastest round counts.
  for (int round = 0; round < size.rounds; ++round) {
    Listing listing;
    const std::optional<double> bareRound = fetchAll(base, pair, size.pages);
    const std::optional<double> listedRound = listAll(pair, listing, size.pages);
    if (!bareRound || !listedRound) return 1;
    bare = std::min(bare, *bareRound);
    listed = std::min(listed, *listedRound);
    settled = listing.settledMiB;
    largestGrowth = std::max(largestGrowth, residentMiB() - settled);
    if (size.isTold) std::printf("%.2f %.2f\n", *listedRound, *bareRound);
  }
  if (size.isTold) return 0;
  std::printf("%d photos over %d pages, fastest of %d rounds\n", size.pages * photosPerPage, size.pages,
              size.rounds);
  std::printf("bare fetch and parse  %8.1f us a page\n", bare);
  std::printf("listed by the library %8.1f us a page, %+.1f us\n", listed, listed - bare);
  std::printf("memory                %8.1f MiB at page %d, %+.1f MiB at page %d\n", settled, settledPage,
              largestGrowth, size.pages);
  return largestGrowth < largestGrowthMiB ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  Size size;
  if (count == 3) size = {std::atoi(arguments[1]), std::atoi(arguments[2]), true};
  int told[2];
  int stop[2];
  if (pipe(told) != 0 || pipe(stop) != 0) return 1;
  const pid_t child = fork();
  if (child == 0) {
    close(stop[1]);
    return serve(told[1], stop[0], size.pages);
  }
  close(stop[0]);
  int port = 0;
  int result = 1;
  if (read(told[0], &port, sizeof(port)) == sizeof(port)) result = measure(port, size);
  close(stop[1]);
  waitpid(child, nullptr, 0);
  return result;
}
