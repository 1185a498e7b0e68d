// The download of KblBaseRequest.
#include "foundation/Texts.h"
#include <BsNet/KblBaseRequest.h>
#include <BsNet/NetReply.h>
#include <KblUtils/FileStream.h>
#include <KblUtils/FileUtil.h>

#include <curl/curl.h>

#include <atomic>
#include <memory>
#include <random>
#include <string>

namespace KBL {
namespace {

/// A file may be of any size: unless the host set limits, only a stalled download ends early.
constexpr long long downloadTimeoutMs = 6LL * 60 * 60 * 1000;
constexpr int downloadStallSeconds = 30;

int transportError(CURLcode code) {
  const int raw = code;
  return covertToErrorCode(&raw);
}

/// Two downloads of one file, also of two processes, must not share the part file.
std::string partSuffix() {
  static std::atomic<unsigned> counter{0};
  std::random_device random;
  return "." + std::to_string(random()) + "-" + std::to_string(counter++) + ".part";
}

/// A file that is being fetched: written beside its place under a name of its own, moved there when complete,
/// removed when not.
class FileDownload final : public IBsResponseWriteCallback {
 public:
  explicit FileDownload(const std::string& utf8Path);
  ~FileDownload();
  FileDownload(const FileDownload&) = delete;
  FileDownload& operator=(const FileDownload&) = delete;

  [[nodiscard]] bool isOpen() const { return isOpen_; }
  bool onResponseData(const char* data, unsigned long long size, void* context) override;
  /// Brings the file to the disk and puts it in its place. False when something of it could not be written.
  [[nodiscard]] bool complete();

 private:
  const Path target_;
  const Path part_;
  FileStream stream_;
  const bool isOpen_;
  bool isPartThere_ = true;
};

FileDownload::FileDownload(const std::string& utf8Path)
    : target_(utf8Path), part_(utf8Path + partSuffix()), isOpen_(stream_.open(part_, "wb")) {}

FileDownload::~FileDownload() {
  (void)stream_.close();
  if (isPartThere_) FileUtil::remove(part_);
}

bool FileDownload::onResponseData(const char* data, unsigned long long size, void*) {
  return stream_.write(data, size);
}

bool FileDownload::complete() {
  if (!stream_.close() || !FileUtil::moveIntoPlace(part_, target_)) return false;
  isPartThere_ = false;
  return true;
}

}  // namespace

int KblBaseRequest::download(const char* url, const char* path, IBsProgressCallback* progress,
                             void* context) {
  if (path == nullptr || *path == '\0') return ErrorCode::paramInvalid;
  try {
    const URL address = URL::FromString(textOrEmpty(url));
    if (!address.IsValid()) return ErrorCode::urlInvalid;
    const OwnedNetworkClient client(creatNetworkClient());
    if (client == nullptr) return ErrorCode::noNetworkClient;
    if (!applySettings(*client, timeoutMs >= 1 ? timeoutMs : downloadTimeoutMs)) {
      return ErrorCode::paramInvalid;
    }
    FileDownload file(path);
    if (!file.isOpen()) return transportError(CURLE_WRITE_ERROR);

    if (lowSpeedSeconds_ < 1) client->setLowSpeed(1, downloadStallSeconds);
    const NetReply reply = client->perform(address, httpGet, &file, nullptr, progress, context);
    if (reply.resultCode != 0) return covertToErrorCode(&reply.resultCode);
    if (reply.httpCode < 200 || reply.httpCode >= 300) return reply.httpCode;
    return file.complete() ? ErrorCode::none : transportError(CURLE_WRITE_ERROR);
  } catch (...) {
    return transportError(CURLE_OUT_OF_MEMORY);
  }
}

}  // namespace KBL
