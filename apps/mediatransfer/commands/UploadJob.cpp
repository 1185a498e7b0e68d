#include "commands/UploadJob.h"

#include "host/HostCallbacks.h"
#include "host/Interrupt.h"
#include "options/Failure.h"
#include "report/Advice.h"
#include "system/Files.h"
#include "system/Utf8Path.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/RecordInterfaces.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/Result.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace host {
namespace {

/// How long the last event of a stopped upload, or the further event of Douyin, is waited for.
constexpr std::chrono::seconds lastEventLimit(35);
/// A stopped upload tells of the part that was on its way and then, at once, of its end.
constexpr std::chrono::seconds quietAfterStop(1);
/// A refused part of a stopped Douyin upload is tried again without delay, and the upload then completed.
constexpr std::chrono::seconds quietAfterRefusal(5);

template <std::size_t size>
void fillField(char (&field)[size], const std::string& value, const char* name) {
  if (value.size() >= size) {
    throw Failure(Exit::wrongUse, std::string(name) + " is longer than " + std::to_string(size - 1) +
                                      " bytes; give a shorter one");
  }
  std::memcpy(field, value.data(), value.size());
}

bool isOfTransfer(const Event& event) {
  return event.kind == Event::Kind::progress || event.kind == Event::Kind::finished ||
         event.kind == Event::Kind::uploadError;
}

void requireFile(const std::string& path, const char* wanted) {
  std::error_code error;
  const auto status = std::filesystem::status(pathFromUtf8(path), error);
  if (!std::filesystem::exists(status)) {
    throw Failure(Cause::file, "there is no file '" + path + "'; check its name");
  }
  if (!std::filesystem::is_regular_file(status)) {
    throw Failure(Cause::file, "'" + path + "' is no file; give " + wanted);
  }
  if (!opensForReading(path)) {
    throw Failure(Cause::file, "the file '" + path + "' cannot be read; check its rights");
  }
}

std::string wantedTitle(const Options& options) {
  return options.title.empty() ? utf8FromPath(pathFromUtf8(options.file).stem()) : options.title;
}

/// YouTube refuses such a text when the upload begins.
void requireFitDescription(const Options& options) {
  const std::string_view unfit = options.platform->unfitForTitle;
  if (options.description.find_first_of(unfit) == std::string::npos) return;
  throw Failure(Exit::wrongUse, std::string(options.platform->name) +
                                    " takes no < and no > in --description; leave them out");
}

}  // namespace

std::string titleFor(const Options& options) {
  std::string title = wantedTitle(options);
  std::erase_if(title,
                [&](char c) { return options.platform->unfitForTitle.find(c) != std::string_view::npos; });
  if (title.empty()) title = "untitled";
  std::size_t left = options.platform->longestTitle;
  if (left == 0) return title;
  std::size_t place = 0;
  for (; place < title.size(); ++place) {
    // A letter of several bytes begins with the one that goes on with none.
    const bool begins = (static_cast<unsigned char>(title[place]) & 0xC0U) != 0x80U;
    if (begins && left-- == 0) break;
  }
  title.resize(place);
  while (title.ends_with(' ')) title.pop_back();
  return title;
}

bool isTitleCut(const Options& options) {
  return titleFor(options) != wantedTitle(options);
}

KBL::hostTransferRecord uploadRecord(const Options& options) {
  requireFitDescription(options);
  KBL::hostTransferRecord record{};
  fillField(record.filePath, options.file, "FILE");
  fillField(record.title, titleFor(options), "--title");
  fillField(record.description, options.description, "--description");
  fillField(record.tags, options.tags, "--tags");
  fillField(record.category, options.category, "--category");
  fillField(record.privacy, options.privacy.empty() ? std::string("private") : options.privacy, "--privacy");
  fillField(record.thumbnailPath, options.thumbnail, "--thumbnail");
  fillField(record.userUuid, options.user, "--user");
  record.useClient = 1;
  record.actionType = 1;
  return record;
}

std::uint64_t checkedFileSize(const Options& options) {
  requireFile(options.file, "a video file");
  if (!options.thumbnail.empty()) requireFile(options.thumbnail, "a picture file");
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(pathFromUtf8(options.file), error);
  if (error || size == 0)
    throw Failure(Cause::file, "the file '" + options.file + "' is empty; give a video");
  return size;
}

UploadJob::UploadJob(Host& host, const Options& options, Report& report,
                     KBL::RefPtr<KBL::IExternlMediaTransfer> transfer)
    : host_(host),
      options_(options),
      report_(report),
      completesAlways_(options.platform->native && options.platform->native->completesAlways),
      transfer_(std::move(transfer)) {
  host_.openTransfers();
}

int UploadJob::run(const KBL::hostTransferRecord& record, std::uint64_t fileSize) {
  dropFormer();
  report_.uploadStarts(fileSize);
  tellWait();
  start(record);
  const int exit = follow();
  report_.waitsFor({});
  return exit;
}

/// A former upload's last events must not end this one.
void UploadJob::dropFormer() {
  while (const auto event = host_.next(Clock::now(), false)) {
    if (!isOfTransfer(*event)) host_.reportShared(*event);
  }
}

void UploadJob::start(const KBL::hostTransferRecord& record) {
  if (!transfer_) transfer_ = KBL::adoptRef(createEMTUpTransfer(options_.platform->transferPlatform));
  if (!transfer_) throw Failure(Cause::call, "the library cannot make a transfer");
  transfer_->Command(KBL::commandSetCallback, &onTransferEvent);
  transfer_->Command(KBL::commandSetContext, static_cast<void*>(nullptr));
  transfer_->Command(KBL::commandSetRecord, &record);
  if (const int result = transfer_->Start(); result != KBL::resultOk) {
    throw Failure(Cause::call, "the library has no uploader for " + std::string(options_.platform->name) +
                                   " (result " + std::to_string(result) + "); use another platform");
  }
}

int UploadJob::follow() {
  for (;;) {
    const auto event = host_.next(deadline());
    if (!event) return interrupted() ? stop() : endInSilence();
    report(*event);
    if (isOver()) return outcome();
  }
}

UploadJob::Clock::time_point UploadJob::deadline() const {
  const std::chrono::seconds patience(options_.patienceSeconds);
  const bool mayBeTheLast = last_ == Last::finished || last_ == Last::error;
  return Clock::now() + (mayBeTheLast ? std::min(lastEventLimit, patience) : patience);
}

int UploadJob::outcome() const {
  if (endIsLost_) {
    throw Failure(Exit::refused,
                  "the video arrived without its end; take it away at the service and upload it again");
  }
  return failed_ ? Exit::refused : Exit::done;
}

int UploadJob::endInSilence() const {
  if (failed_ || endIsLost_) return outcome();
  if (finishedCount_ > 0) return Exit::done;
  throw Failure(Cause::network, "no news of the upload for " + std::to_string(options_.patienceSeconds) +
                                    " s; last heard: " + lastHeard_ +
                                    "; run again, with -v to see why or --patience to wait longer");
}

int UploadJob::stop() {
  stopping_ = true;
  const bool cutsOff = usesScript(options_) || options_.platform->native->stopCutsOff;
  report_.uploadStops(cutsOff ? "stopping; Ctrl-C again ends at once"
                              : "stopping after the part that is on its way; Ctrl-C again ends at once");
  transfer_->Stop();
  const Clock::time_point limit = Clock::now() + lastEventLimit;
  Clock::time_point quiet = limit;
  for (;;) {
    const auto event = host_.next(std::min(limit, quiet), false);
    if (!event) break;
    report(*event);
    if (isOver()) break;
    if (isOfTransfer(*event)) quiet = Clock::now() + lastWordLimit();
  }
  return endAfterStop();
}

/// How long a stopped upload may be silent before it counts as over. A stop has no event of its own but on
/// TikTok: the part on its way is reported, then nothing more comes. Douyin is always completed, which the
/// last part's progress comes ahead of.
std::chrono::seconds UploadJob::lastWordLimit() const {
  if (!completesAlways_) return quietAfterStop;
  return last_ == Last::error ? quietAfterRefusal : lastEventLimit;
}

int UploadJob::endAfterStop() {
  if (endIsLost_) return outcome();
  if (finishedCount_ > 0 && !failed_ && isWhole()) return Exit::done;
  report_.note(finishedCount_ > 0 ? "stopped; the service keeps a video of the parts that it has"
                                  : "stopped");
  return Exit::interrupted;
}

/// A stopped Douyin upload is completed with the parts that were sent. It shows one point less than what was
/// sent, so 99 stands for all of it.
bool UploadJob::isWhole() const {
  constexpr int allSent = 99;
  return !completesAlways_ || sentPercent_ >= allSent;
}

/// The library tells in these words that it gave a part up, which is no stop unless Ctrl-C came.
bool UploadJob::isGivenUp(const Event& event) const {
  return completesAlways_ && !stopping_ && splitUploadError(event.text).code == KBL::ErrorCode::userCancelled;
}

/// The library tries again in silence.
void UploadJob::tellWait() {
  report_.waitsFor(std::string(options_.platform->name) +
                   " to take the video; what it refuses is tried again");
}

void UploadJob::report(const Event& event) {
  const bool isNews = event.kind != Event::Kind::progress || event.value != newest_;
  if (isNews) tellWait();
  if (event.kind == Event::Kind::progress) newest_ = event.value;
  remember(event);
  host_.reportShared(event);
  switch (event.kind) {
    case Event::Kind::progress:
      return report_.uploadProgress(event.value);
    case Event::Kind::finished:
      return report_.finished(event.text);
    case Event::Kind::uploadError:
      return report_.uploadError(event.value, event.text);
    case Event::Kind::tokenChanged:
    case Event::Kind::answer:
    case Event::Kind::loginUrl:
    case Event::Kind::callbackUrl:
      return;
  }
}

void UploadJob::remember(const Event& event) {
  switch (event.kind) {
    case Event::Kind::progress:
      last_ = Last::progress;
      lastHeard_ = "progress " + std::to_string(event.value) + "%";
      if (finishedCount_ == 0 && event.value < 100) sentPercent_ = std::max(sentPercent_, event.value);
      return;
    case Event::Kind::finished:
      last_ = Last::finished;
      failed_ = false;
      ++finishedCount_;
      return;
    case Event::Kind::uploadError:
      last_ = Last::error;
      failed_ = true;
      endIsLost_ = endIsLost_ || isGivenUp(event);
      return;
    case Event::Kind::tokenChanged:
      lastHeard_ = "a new access token";
      return;
    case Event::Kind::answer:
      // A background refresh that failed does not end the upload.
      if (event.infoType != KBL::infoTypeUpload || event.code == KBL::ErrorCode::none) return;
      refusedAtOnce_ = failed_ = true;
      return;
    case Event::Kind::loginUrl:
    case Event::Kind::callbackUrl:
      return;
  }
}

/// Douyin reports a good end twice, and may go on after an error unless no part was sent before it;
/// everything else is over at once.
bool UploadJob::isOver() const {
  if (refusedAtOnce_) return true;
  const bool neverBegan = failed_ && sentPercent_ < 0;
  if (completesAlways_) return finishedCount_ >= 2 || neverBegan;
  return finishedCount_ > 0 || failed_;
}

}  // namespace host
