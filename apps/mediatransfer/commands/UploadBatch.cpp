#include "commands/UploadBatch.h"

#include "commands/UploadJob.h"
#include "host/Interrupt.h"
#include "options/Failure.h"
#include "system/Utf8Path.h"
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/Result.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace host {
namespace {

constexpr std::array<std::string_view, 20> videoEndings{
    ".3g2", ".3gp", ".asf", ".avi",  ".flv", ".m2ts", ".m4v", ".mkv", ".mov",  ".mp4",
    ".mpe", ".mpg", ".mts", ".mpeg", ".mxf", ".ogv",  ".ts",  ".vob", ".webm", ".wmv"};

bool isVideoName(const std::string& name) {
  const std::size_t dot = name.rfind('.');
  if (name.starts_with('.') || dot == std::string::npos) return false;
  std::string ending = name.substr(dot);
  for (char& c : ending) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return std::find(videoEndings.begin(), videoEndings.end(), ending) != videoEndings.end();
}

std::vector<std::string> videosIn(const std::string& folder) {
  std::vector<std::string> videos;
  std::error_code error;
  std::filesystem::directory_iterator entry(pathFromUtf8(folder), error);
  for (const std::filesystem::directory_iterator end; !error && entry != end; entry.increment(error)) {
    std::error_code unreadable;
    const std::filesystem::path path = entry->path();
    if (!isVideoName(utf8FromPath(path.filename())) || !std::filesystem::is_regular_file(path, unreadable)) {
      continue;
    }
    videos.push_back(utf8FromPath(path));
  }
  if (error) throw Failure(Cause::file, "the folder '" + folder + "' cannot be read; check its rights");
  if (videos.empty()) {
    throw Failure(Cause::file, "there is no video in the folder '" + folder + "'; give a video file");
  }
  std::sort(videos.begin(), videos.end());
  return videos;
}

/// One file, looked at.
struct Upload {
  Options options;
  KBL::hostTransferRecord record{};
  std::uint64_t size = 0;
  std::optional<Failure> trouble;  ///< it cannot be sent
};

Upload looked(const Options& all, const std::string& file) {
  Upload upload;
  upload.options = all;
  upload.options.file = file;
  upload.record = uploadRecord(upload.options);
  upload.size = checkedFileSize(upload.options);
  return upload;
}

class UploadBatch {
 public:
  UploadBatch(const Options& options, Report& report, UploadWay& way)
      : options_(options), report_(report), way_(way) {}

  int run() {
    const std::vector<std::string> files = videosOf(options_.files);
    isSeveral_ = files.size() > 1 || options_.goOn;
    count_.files = static_cast<int>(files.size());
    if (files.size() > 1 && !options_.title.empty()) {
      throw Failure(Exit::wrongUse, "--title is for one video alone; without it each has its file's name");
    }
    std::vector<Upload> uploads;
    for (const std::string& file : files) uploads.push_back(prepared(file));
    if (const auto exit = way_.begin()) return *exit;
    if (interrupted()) return Exit::interrupted;
    return send(uploads);
  }

 private:
  /// A file that cannot be sent is a failure like any other where the others are to go on.
  Upload prepared(const std::string& file) const {
    try {
      return looked(options_, file);
    } catch (const Failure& failure) {
      if (!options_.goOn || failure.exit != Exit::refused) throw;
      Upload upload;
      upload.options.file = file;
      upload.trouble = failure;
      return upload;
    }
  }

  int send(const std::vector<Upload>& uploads) {
    int number = 0;
    int exit = Exit::done;
    for (const Upload& upload : uploads) {
      // One that came to its end all the same is done, and the next is not begun.
      if (number > 0 && interrupted()) {
        exit = Exit::interrupted;
        break;
      }
      ++number;
      if (isSeveral_) report_.fileStarts(upload.options.file, number, count_.files);
      const int one = sendOne(upload);
      if (isSeveral_) report_.fileEnds(upload.options.file, one);
      if (one == Exit::done) {
        ++(options_.dryRun ? count_.planned : count_.uploaded);
        continue;
      }
      exit = one;
      if (one == Exit::interrupted) break;
      ++count_.failed;
      if (!options_.goOn) break;
    }
    if (isSeveral_) report_.uploadsEnd(count_);
    return exit;
  }

  int sendOne(const Upload& upload) {
    if (!upload.trouble && isTitleCut(upload.options)) {
      report_.note("the title is cut to what " + std::string(options_.platform->name) +
                   " takes: " + titleFor(upload.options));
    }
    if (!isSeveral_) return sendOrPlan(upload);
    try {
      if (upload.trouble) throw *upload.trouble;
      return sendOrPlan(upload);
    } catch (const Failure& failure) {
      report_.trouble(failure.what(), failure.cause);
      return failure.exit;
    }
  }

  int sendOrPlan(const Upload& upload) {
    if (!options_.dryRun) return way_.upload(upload.options, upload.record, upload.size);
    if (isTooLarge(upload)) {
      // As the library tells it.
      const std::string limit = std::to_string(tooLargeMiB()) + "MB";
      report_.uploadError(KBL::transferEventError, std::to_string(KBL::ErrorCode::fileTooLarge) + "," +
                                                       upload.options.file + ", limit " + limit);
      return Exit::refused;
    }
    report_.uploadPlanned(planOf(upload));
    return Exit::done;
  }

  /// 0: nothing is.
  [[nodiscard]] std::uint64_t tooLargeMiB() const {
    const std::optional<NativeUpload>& native = options_.platform->native;
    return native && !usesScript(options_) ? native->tooLargeMiB : 0;
  }

  [[nodiscard]] bool isTooLarge(const Upload& upload) const {
    return tooLargeMiB() != 0 && upload.size >= tooLargeMiB() << 20;
  }

  [[nodiscard]] UploadPlan planOf(const Upload& upload) const {
    UploadPlan plan;
    plan.file = upload.options.file;
    plan.bytes = upload.size;
    const std::optional<NativeUpload>& native = options_.platform->native;
    const bool isNative = native && !usesScript(options_);
    if (isNative && native->unsent == NativeUpload::Unsent::allButTheVideo) return plan;
    plan.title = upload.record.title;
    plan.description = upload.record.description;
    plan.tags = upload.record.tags;
    plan.privacy = upload.record.privacy;
    if (isNative) return plan;
    plan.category = upload.record.category;
    plan.thumbnail = upload.record.thumbnailPath;
    return plan;
  }

  const Options& options_;
  Report& report_;
  UploadWay& way_;
  bool isSeveral_ = false;
  UploadCount count_;
};

}  // namespace

std::vector<std::string> videosOf(const std::vector<std::string>& named) {
  std::vector<std::string> files;
  for (const std::string& name : named) {
    std::error_code error;
    if (!std::filesystem::is_directory(pathFromUtf8(name), error)) {
      files.push_back(name);
      continue;
    }
    for (std::string& video : videosIn(name)) files.push_back(std::move(video));
  }
  return files;
}

int uploadAll(const Options& options, Report& report, UploadWay& way) {
  return UploadBatch(options, report, way).run();
}

}  // namespace host
