// The limits that uploads are compared with. `loop URL FILE [AUTHORITY]`: a bare libcurl loop of 2 MiB chunks
// on one handle, in its best form. `parts URL FILE ROUNDS ACCOUNT CACHE`: the same of parts of 4 MiB by POST,
// the last one twice, behind two requests to the account server, of which the first one's token is kept in
// the file CACHE, and one that opens the upload; round follows round, and the seconds of the middle one are
// printed. `raw URL FILE`: one PUT of the whole file, which the
// kernel sends to a plain socket.
#include "SqliteSave.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr curl_off_t chunkBytes = 2 << 20;
constexpr curl_off_t partBytes = 4 << 20;
constexpr std::size_t bufferBytes = 256 << 10;

/// The range of the file that the running chunk consists of.
struct Range {
  int file;
  curl_off_t begin;
  curl_off_t size;
  curl_off_t done;
};

std::size_t readRange(char* buffer, std::size_t size, std::size_t count, void* self) {
  auto& range = *static_cast<Range*>(self);
  const auto wanted = std::min(static_cast<curl_off_t>(size * count), range.size - range.done);
  const ssize_t bytes =
      ::pread(range.file, buffer, static_cast<std::size_t>(wanted), range.begin + range.done);
  if (bytes < 0) return CURL_READFUNC_ABORT;
  range.done += bytes;
  return static_cast<std::size_t>(bytes);
}

int rewindRange(void* self, char*, char*, int, int) {
  static_cast<Range*>(self)->done = 0;
  return CURL_PREREQFUNC_OK;
}

std::size_t dropReply(char*, std::size_t size, std::size_t count, void*) {
  return size * count;
}

bool sendChunk(CURL* easy, Range& range, curl_off_t fileSize) {
  const std::string place = "Content-Range: bytes " + std::to_string(range.begin) + "-" +
                            std::to_string(range.begin + range.size - 1) + "/" + std::to_string(fileSize);
  curl_slist* const lines = curl_slist_append(curl_slist_append(nullptr, "Expect:"), place.c_str());
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, lines);
  curl_easy_setopt(easy, CURLOPT_INFILESIZE_LARGE, range.size);
  curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, range.size);
  const bool isSent = curl_easy_perform(easy) == CURLE_OK;
  long status = 0;
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  curl_slist_free_all(lines);
  return isSent && (status == 200 || status == 308);
}

CURL* makeHandle(const char* url, Range& range, const char* authority) {
  CURL* const easy = curl_easy_init();
  curl_easy_setopt(easy, CURLOPT_URL, url);
  curl_easy_setopt(easy, CURLOPT_UPLOAD_BUFFERSIZE, static_cast<long>(bufferBytes));
  curl_easy_setopt(easy, CURLOPT_READFUNCTION, &readRange);
  curl_easy_setopt(easy, CURLOPT_READDATA, &range);
  curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, &rewindRange);
  curl_easy_setopt(easy, CURLOPT_PREREQDATA, &range);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &dropReply);
  if (authority != nullptr) curl_easy_setopt(easy, CURLOPT_CAINFO, authority);
  return easy;
}

int runLoop(const char* url, int file, curl_off_t fileSize, const char* authority) {
  Range range{file, 0, 0, 0};
  CURL* const easy = makeHandle(url, range, authority);
  curl_easy_setopt(easy, CURLOPT_UPLOAD, 1L);
  for (; range.begin < fileSize; range.begin += range.size) {
    range.size = std::min(chunkBytes, fileSize - range.begin);
    if (!sendChunk(easy, range, fileSize)) return 1;
  }
  curl_easy_cleanup(easy);
  return 0;
}

/// Opens the upload, sends the parts, and the last one once more with the request that completes it.
bool sendParts(CURL* easy, Range& range, curl_off_t fileSize) {
  range.begin = 0;
  range.size = 0;
  bool isSent = sendChunk(easy, range, fileSize);
  for (; isSent && range.begin < fileSize; range.begin += partBytes) {
    range.size = std::min(partBytes, fileSize - range.begin);
    isSent = sendChunk(easy, range, fileSize);
  }
  range.begin -= partBytes;
  return isSent && sendChunk(easy, range, fileSize);
}

constexpr std::size_t userBytes = 1500;  // about what the file of one user holds

/// What an upload asks the account server, in the same words, and the save of the token that it is given.
bool askAccountServer(CURL* account, const std::string& server, const std::string& cache) {
  curl_easy_setopt(account, CURLOPT_URL, (server + "/client_credentials").c_str());
  curl_easy_setopt(account, CURLOPT_POSTFIELDS,
                   R"({"app_secret":"sandbox-app-secret","grant_type":"client_credentials"})");
  if (curl_easy_perform(account) != CURLE_OK) return false;
  if (!saveBySqlite(cache, std::string(userBytes, '0'))) return false;
  curl_easy_setopt(account, CURLOPT_URL, (server + "/consume").c_str());
  curl_easy_setopt(account, CURLOPT_POSTFIELDS, R"({"action_type":1,"use_client":1})");
  return curl_easy_perform(account) == CURLE_OK;
}

/// What the command line says of `parts`.
struct Parts {
  int rounds;
  std::string server;
  std::string cache;
};

int runParts(const char* url, int file, curl_off_t fileSize, Parts parts) {
  using Clock = std::chrono::steady_clock;
  Range range{file, 0, 0, 0};
  CURL* const easy = makeHandle(url, range, nullptr);
  curl_easy_setopt(easy, CURLOPT_POST, 1L);
  CURL* const account = curl_easy_init();
  curl_easy_setopt(account, CURLOPT_WRITEFUNCTION, &dropReply);
  std::vector<double> seconds;
  while (parts.rounds-- > 0) {
    const auto begun = Clock::now();
    if (!askAccountServer(account, parts.server, parts.cache) || !sendParts(easy, range, fileSize)) return 1;
    seconds.push_back(std::chrono::duration<double>(Clock::now() - begun).count());
  }
  curl_easy_cleanup(easy);
  curl_easy_cleanup(account);
  std::sort(seconds.begin(), seconds.end());
  (void)std::printf("seconds %.6f\n", seconds[seconds.size() / 2]);
  return 0;
}

bool sendAll(int socket, const char* data, std::size_t size) {
  for (std::size_t sent = 0; sent < size;) {
    const ssize_t count = ::send(socket, data + sent, size - sent, MSG_NOSIGNAL);
    if (count <= 0) return false;
    sent += static_cast<std::size_t>(count);
  }
  return true;
}

int runRaw(const std::string& url, int file, curl_off_t fileSize) {
  const int peer = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(url.c_str() + url.rfind(':') + 1)));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(peer, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) return 1;
  const std::string head = "PUT / HTTP/1.1\r\nContent-Length: " + std::to_string(fileSize) + "\r\n\r\n";
  if (!sendAll(peer, head.data(), head.size())) return 1;
  for (off_t sent = 0; sent < fileSize;) {
    if (::sendfile(peer, file, &sent, static_cast<std::size_t>(fileSize - sent)) <= 0) return 1;
  }
  char answer = 0;
  return ::recv(peer, &answer, 1, 0) == 1 ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 4) return 2;
  const int file = ::open(arguments[3], O_RDONLY | O_CLOEXEC);
  struct stat about {};
  if (file < 0 || ::fstat(file, &about) != 0) return 2;
  if (std::string(arguments[1]) == "raw") return runRaw(arguments[2], file, about.st_size);
  if (std::string(arguments[1]) == "parts") {
    if (count != 7) return 2;
    return runParts(arguments[2], file, about.st_size, {std::atoi(arguments[4]), arguments[5], arguments[6]});
  }
  return runLoop(arguments[2], file, about.st_size, count > 4 ? arguments[4] : nullptr);
}
