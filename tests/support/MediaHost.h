#pragma once

#include <ExternlMediaTransfer/DownloadRecords.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

/// Plays the host of a download transfer: keeps what the callbacks bring. Give `this` as the context. Any
/// thread.
class MediaHost {
 public:
  struct Error {
    int code;
    std::string message;
    bool operator==(const Error&) const = default;
  };
  struct Album {
    std::string id;
    std::string name;
    int more;
    bool operator==(const Album&) const = default;
  };
  struct Media {
    int type;
    std::string url;
    std::string thumbnail;
    int more;
    bool operator==(const Media&) const = default;
  };
  struct Progress {
    int finished;
    int total;
    int bytes;
    bool operator==(const Progress&) const = default;
  };

  static std::int32_t onAlbum(void* context, KBL::IExternlMediaTransfer* transfer,
                              const KBL::hostAlbumRecord* album);
  static std::int32_t onMedia(void* context, KBL::IExternlMediaTransfer* transfer,
                              const KBL::hostMediaRecord* media);
  static std::int32_t onError(void* context, KBL::IExternlMediaTransfer* transfer,
                              const KBL::hostErrorRecord* error);
  static std::int32_t onProgress(void* context, KBL::IExternlMediaTransfer* transfer,
                                 const KBL::hostProgressRecord* progress);

  /// Decides the result of the item callbacks by their count, from 1, on the task's thread. Without it, 1.
  std::function<std::int32_t(std::size_t count)> itemResult;
  /// Called in the error and the progress callbacks.
  std::function<void()> onOther;

  [[nodiscard]] std::vector<Album> albums() const;
  [[nodiscard]] std::vector<Media> media() const;
  [[nodiscard]] std::vector<Error> errors() const;
  [[nodiscard]] std::vector<Progress> progress() const;
  [[nodiscard]] std::set<std::thread::id> threads() const;
  [[nodiscard]] std::set<KBL::IExternlMediaTransfer*> transfers() const;
  /// Callbacks of all kinds so far.
  [[nodiscard]] std::size_t calls() const;

  /// Records so far that ended a list of media.
  [[nodiscard]] std::size_t closings() const;

  [[nodiscard]] bool waitForCalls(std::size_t count) const;
  [[nodiscard]] bool waitForErrors(std::size_t count) const;
  /// Waits for the record that ends a list.
  [[nodiscard]] bool waitForClosingMedia() const;
  [[nodiscard]] bool waitForClosingAlbum() const;
  [[nodiscard]] bool waitForFinish() const;

 private:
  std::int32_t noteItem(KBL::IExternlMediaTransfer* transfer, const std::function<void()>& keep);
  void noteOther(KBL::IExternlMediaTransfer* transfer, const std::function<void()>& keep);

  mutable std::mutex mutex_;
  std::vector<Album> albums_;
  std::vector<Media> media_;
  std::vector<Error> errors_;
  std::vector<Progress> progress_;
  std::set<std::thread::id> threads_;
  std::set<KBL::IExternlMediaTransfer*> transfers_;
  std::size_t calls_ = 0;
  std::size_t items_ = 0;
};

void PrintTo(const MediaHost::Error& error, std::ostream* out);
void PrintTo(const MediaHost::Album& album, std::ostream* out);
void PrintTo(const MediaHost::Media& media, std::ostream* out);
void PrintTo(const MediaHost::Progress& progress, std::ostream* out);

/// UTF-8 of a record's field up to its terminator; "unterminated" when there is none.
[[nodiscard]] std::string narrow(const char16_t* field, std::size_t size);

template <std::size_t size>
[[nodiscard]] std::string narrow(const char16_t (&field)[size]) {
  return narrow(field, size);
}
