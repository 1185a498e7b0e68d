// What one small request costs in a warm process: WAY URL AUTHORITY COUNT, with WAY `ours`, a client of the
// library a request as the requests to the account server make them, or `handle`, one curl handle that is
// used again. Prints the microseconds of the middle request.
#include <BsNet/INetworkClient.h>
#include <BsNet/NetworkClients.h>

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr const char* body = R"({"third_platform":"youtube","state":"0123456789"})";

bool requestOfOurs(const std::string& url) {
  const KBL::OwnedNetworkClient client(KBL::makeNetworkClient());
  if (client == nullptr) return false;
  client->setHeaders({{"Content-Type", "application/json"}, {"Authorization", "Bearer 0123456789"}});
  client->setBody(body);
  return client->perform(KBL::URL::FromString(url), KBL::httpPost, nullptr, nullptr, nullptr, nullptr)
             .httpCode == 200;
}

std::size_t keep(char* data, std::size_t size, std::size_t count, void* kept) {
  static_cast<std::string*>(kept)->append(data, size * count);
  return size * count;
}

/// The authorities of the system and ours, as the library puts them together.
std::string joinedAuthorities(const std::string& authority) {
  const curl_version_info_data* const version = curl_version_info(CURLVERSION_NOW);
  std::string text;
  for (const std::string& path :
       {std::string(version->cainfo == nullptr ? "" : version->cainfo), authority}) {
    std::ifstream file(path);
    text.append(std::istreambuf_iterator<char>(file), {}).append("\n");
  }
  return text;
}

class ReusedHandle {
 public:
  ReusedHandle(const std::string& url, const std::string& authority)
      : easy_(curl_easy_init()), trust_(joinedAuthorities(authority)) {
    lines_ = curl_slist_append(lines_, "Content-Type: application/json");
    lines_ = curl_slist_append(lines_, "Authorization: Bearer 0123456789");
    curl_blob blob{trust_.data(), trust_.size(), CURL_BLOB_NOCOPY};
    curl_easy_setopt(easy_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, lines_);
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, body);
    curl_easy_setopt(easy_, CURLOPT_CAINFO_BLOB, &blob);
    curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &keep);
  }
  ~ReusedHandle() {
    curl_easy_cleanup(easy_);
    curl_slist_free_all(lines_);
  }
  ReusedHandle(const ReusedHandle&) = delete;
  ReusedHandle& operator=(const ReusedHandle&) = delete;

  bool request() {
    std::string reply;
    curl_easy_setopt(easy_, CURLOPT_WRITEDATA, &reply);
    return curl_easy_perform(easy_) == CURLE_OK;
  }

 private:
  CURL* easy_;
  std::string trust_;
  curl_slist* lines_ = nullptr;
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 5) return 2;
  const std::string url = arguments[2];
  const bool isOurs = std::string(arguments[1]) == "ours";
  KBL::NetSettings settings;
  settings.extraCaFile = arguments[3];
  KBL::setNetSettings(settings);
  ReusedHandle handle(url, arguments[3]);
  std::vector<double> times;
  for (int left = std::atoi(arguments[4]); left > 0; --left) {
    const auto begun = std::chrono::steady_clock::now();
    if (!(isOurs ? requestOfOurs(url) : handle.request())) return 1;
    times.push_back(
        std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begun).count());
  }
  std::sort(times.begin(), times.end());
  (void)std::printf("microseconds %.1f\n", times[times.size() / 2]);
}
