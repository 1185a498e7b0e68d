#include "commands/AlbumDownload.h"

#include "commands/AlbumEntries.h"
#include "commands/AlbumManifest.h"
#include "commands/FetchPool.h"
#include "host/Interrupt.h"
#include "host/LoginFile.h"
#include "options/Failure.h"
#include "system/FileNames.h"
#include "system/Utf8Path.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <set>
#include <string>
#include <system_error>
#include <utility>

namespace host {
namespace {

using Status = AlbumManifest::Status;

[[noreturn]] void refuseFolder(const std::string& folder) {
  throw Failure(Cause::file, "the folder '" + folder +
                                 "' takes no files; check its name, its rights and the room on its disk");
}

/// The folder itself or, before it is made, the one that it will lie in.
std::filesystem::path standing(std::filesystem::path folder) {
  std::error_code error;
  while (!std::filesystem::exists(folder, error)) {
    if (folder == folder.parent_path() || !folder.has_parent_path()) return ".";
    folder = folder.parent_path();
  }
  return folder;
}

/// Names that no two files share, and none that stands in the folder.
class Names {
 public:
  explicit Names(const AlbumManifest& manifest) : manifest_(manifest) {
    taken_.insert(foldedFileName(AlbumManifest::fileName));
    for (const AlbumManifest::Entry& entry : manifest.entries()) taken_.insert(foldedFileName(entry.name));
  }

  std::string take(const std::string& wanted) {
    std::string name = wanted;
    for (int number = 2; isTaken(name); ++number) name = numberedFileName(wanted, number);
    taken_.insert(foldedFileName(name));
    return name;
  }

  /// Whether the folder has something of that name.
  [[nodiscard]] bool isThere(const std::string& name) const {
    std::error_code error;
    const auto status = std::filesystem::symlink_status(pathFromUtf8(manifest_.pathOf(name)), error);
    return std::filesystem::exists(status);
  }

 private:
  [[nodiscard]] bool isTaken(const std::string& name) const {
    return taken_.contains(foldedFileName(name)) || isThere(name);
  }

  const AlbumManifest& manifest_;
  std::set<std::string> taken_;
};

class AlbumDownload {
 public:
  AlbumDownload(const Options& options, const std::vector<MediaEvent>& list, Report& report)
      : options_(options),
        report_(report),
        entries_(albumEntries(list, options.service->name)),
        manifest_(options.downloadDir) {
    count_.entries = static_cast<int>(entries_.size());
  }

  int run() {
    plan();
    if (!options_.dryRun) {
      makeFolder();
      fetch();
    }
    const bool isStopped = !options_.dryRun && isStopped_;
    report_.fetchesEnd(count_, isStopped);
    if (isStopped) return Exit::interrupted;
    return count_.failed > 0 ? Exit::refused : Exit::done;
  }

 private:
  /// Decides the names ahead, so that a later call knows those of files that came when nobody could tell.
  void plan() {
    Names names(manifest_);
    for (const AlbumEntry& entry : entries_) {
      // Flickr gives the address of what its owner lets others fetch.
      if (entry.url.empty()) {
        ++count_.unaddressed;
        report_.fetched({entry.id, {}, 0, FetchedEntry::Outcome::unaddressed});
        continue;
      }
      const AlbumManifest::Entry* const known = manifest_.find(entry.id);
      if (known != nullptr && manifest_.hasFile(*known)) {
        ++count_.there;
        report_.fetched({entry.id, known->name, known->size, FetchedEntry::Outcome::there});
        continue;
      }
      AlbumManifest::Entry planned;
      planned.id = entry.id;
      // A download that failed has left no file: what is there now is somebody's own.
      const bool keepsName =
          known != nullptr && (known->status != Status::failed || !names.isThere(known->name));
      planned.name =
          keepsName ? known->name : names.take(entryName(options_.nameTemplate, entry, entries_.size()));
      planned.address = entry.address;
      planned.isVideo = entry.isVideo;
      manifest_.put(planned);
      wanted_.push_back(&entry);
      if (options_.dryRun) report_.fetched({entry.id, planned.name, 0, FetchedEntry::Outcome::planned});
    }
    count_.wanted = static_cast<int>(wanted_.size());
  }

  void makeFolder() const {
    std::error_code error;
    const std::filesystem::path folder = pathFromUtf8(options_.downloadDir);
    std::filesystem::create_directories(folder, error);
    if (!std::filesystem::is_directory(folder, error)) refuseFolder(options_.downloadDir);
    manifest_.save();
  }

  void fetch() {
    constexpr std::chrono::milliseconds slice(100);
    constexpr std::chrono::milliseconds noTime(0);
    FetchPool pool(std::min(options_.jobs, std::max(count_.wanted, 1)));
    report_.fetchesStart(count_);
    std::size_t next = 0;
    while (!interrupted() && (next < wanted_.size() || !pool.isIdle())) {
      while (next < wanted_.size() && pool.hasRoom() && !interrupted()) begin(pool, next++);
      if (pool.isIdle()) continue;
      if (const auto end = pool.next(slice)) take(*end);
      report_.fetchProgress(pool.bytes());
    }
    isStopped_ = next < wanted_.size() || !pool.isIdle();
    pool.stop();
    for (;;) {
      const auto end = pool.next(noTime);
      if (!end) break;
      take(*end);
    }
    manifest_.save();
  }

  void begin(FetchPool& pool, std::size_t number) {
    const AlbumEntry& entry = *wanted_[number];
    const auto path = inNarrowEncoding(manifest_.pathOf(manifest_.find(entry.id)->name));
    if (!path) return fail(entry, {KBL::MediaError::localFile, "This system cannot name the file."});
    pool.begin(number, entry.url, *path);
  }

  void take(const FetchPool::End& end) {
    const AlbumEntry& entry = *wanted_[end.number];
    if (end.error) return fail(entry, *end.error, end.isTooLarge);
    AlbumManifest::Entry stored = *manifest_.find(entry.id);
    std::error_code error;
    stored.size = std::filesystem::file_size(pathFromUtf8(manifest_.pathOf(stored.name)), error);
    if (error) return fail(entry, {KBL::MediaError::localFile, "The file has gone."});
    stored.status = Status::stored;
    manifest_.put(stored);
    ++count_.stored;
    report_.fetched({stored.id, stored.name, stored.size, FetchedEntry::Outcome::stored});
    saveNowAndThen();
  }

  void fail(const AlbumEntry& entry, const MediaErrorEvent& error, bool isTooLarge = false) {
    AlbumManifest::Entry failed = *manifest_.find(entry.id);
    failed.status = Status::failed;
    manifest_.put(failed);
    ++count_.failed;
    report_.fetchFailed({failed.id, failed.name, 0, FetchedEntry::Outcome::failed}, error, isTooLarge);
  }

  /// Whoever ends the process by force loses the news of a second.
  void saveNowAndThen() {
    constexpr std::chrono::seconds pause(1);
    const auto now = std::chrono::steady_clock::now();
    if (now - saved_ < pause) return;
    manifest_.save();
    saved_ = now;
  }

  const Options& options_;
  Report& report_;
  const std::vector<AlbumEntry> entries_;
  AlbumManifest manifest_;
  std::vector<const AlbumEntry*> wanted_;
  FetchCount count_;
  bool isStopped_ = false;
  std::chrono::steady_clock::time_point saved_ = std::chrono::steady_clock::now();
};

}  // namespace

void checkAlbumFolder(const Options& options) {
  const std::filesystem::path folder = standing(pathFromUtf8(options.downloadDir));
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) refuseFolder(options.downloadDir);
  if (!folderTakesAFile(utf8FromPath(folder))) refuseFolder(options.downloadDir);
  // One that cannot be read is told before anything is asked.
  (void)AlbumManifest(options.downloadDir);
}

int downloadAlbum(const Options& options, const std::vector<MediaEvent>& list, Report& report) {
  return AlbumDownload(options, list, report).run();
}

}  // namespace host
