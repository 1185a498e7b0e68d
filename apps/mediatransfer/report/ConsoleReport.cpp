#include "options/Failure.h"
#include "options/Options.h"
#include "options/Secrets.h"
#include "report/Advice.h"
#include "report/Colours.h"
#include "report/ConsoleTexts.h"
#include "report/FetchMeter.h"
#include "report/MediaMeter.h"
#include "report/Progress.h"
#include "report/Report.h"
#include "report/SlowCall.h"
#include "system/Terminal.h"
#include <ExternlMediaTransfer/DownloadRecords.h>
#include <KblUtils/Result.h>

#include <algorithm>
#include <iostream>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace host {
namespace {

constexpr std::size_t idColumn = 20;
constexpr std::size_t typeColumn = 9;
constexpr std::size_t profileColumn = 12;
constexpr std::size_t platformColumn = 20;
constexpr std::size_t keyColumn = 14;
constexpr std::size_t valueColumn = 26;

/// Lines for people on the standard output, errors on the standard error stream; on a terminal the progress
/// of an upload or a download is a bar that stays on the last line.
class ConsoleReport final : public Report {
 public:
  explicit ConsoleReport(const Options& options)
      : command_(options.command),
        file_(options.file),
        sendsBytes_(sendsBytes(options)),
        folder_(options.downloadDir),
        fetchesAlbum_(!options.downloadDir.empty()),
        isDryRun_(options.dryRun),
        platform_(options.platform == nullptr ? std::string_view() : options.platform->name),
        way_(platformAndWay(options)),
        program_(nextCall(options)),
        standIns_(options.sandbox && !options.consentAsk),
        sendsCategories_(usesScript(options)),
        quiet_(options.quiet),
        terminal_(outputIsTerminal()),
        coloured_(outputTakesColours()),
        colouredErrors_(errorsTakeColours()) {}

  void loginUrl(const std::string&, const std::string& url) override {
    line("sign in with a browser at: " + singleLine(withoutGivenSecrets(url)));
    if (standIns_) line("(the stand-in server consents by itself)");
  }
  void callbackUrl(const std::string&, const std::string&) override {}
  void tokenChanged(const std::string&) override {
    if (command_ == Command::verify && !quiet_) line("access token renewed");
  }
  void person(PersonNews news, const Person& person) override {
    if (quiet_ && news != PersonNews::user) return;
    switch (news) {
      case PersonNews::loginDone:
        return line(coloured("signed in", Colour::green, coloured_) + " to " + std::string(platform_) +
                    " as " + personText(person));
      case PersonNews::verified:
        if (command_ == Command::upload) {
          return line((isDryRun_ ? "would upload as " : "uploading as ") + personText(person));
        }
        return line("the " + std::string(platform_) + " login of " + personText(person) + " is good");
      case PersonNews::stored:
        return line("the " + std::string(platform_) + " login of " + personText(person) +
                    " is stored; the service was not asked");
      case PersonNews::loggedOut:
        return line("signed out " + personText(person) + " of " + std::string(platform_));
      case PersonNews::user:
        return details(person);
    }
  }
  void signedIn(const SignedIn& login) override {
    if (rows_++ == 0) {
      head(cell("PROFILE", profileColumn) + cell("PLATFORM", platformColumn) + "USER");
    }
    std::cout << cell(singleLine(login.profile), profileColumn) << cell(login.platformAndWay, platformColumn)
              << singleLine(personText(login.person)) << '\n'
              << std::flush;
  }
  void setting(const SettingValue& value, bool alone) override {
    const std::string shown = singleLine(shownValue(value));
    if (alone) return line(shown);
    if (rows_++ == 0) {
      head(cell("KEY", keyColumn) + cell("VALUE", valueColumn) + "FROM");
    }
    std::cout << cell(std::string(value.key), keyColumn) << cell(shown.empty() ? "-" : shown, valueColumn)
              << (value.source == SettingSource::nowhere ? "default" : singleLine(value.place)) << '\n'
              << std::flush;
  }
  void checked(const Check& check) override {
    if (quiet_ && check.state == Check::State::ok) return;
    const std::string text =
        check.name + ": " + check.text + (check.remedy.empty() ? "" : "; " + check.remedy);
    line(stateCell(check.state, coloured_) + singleLine(withoutGivenSecrets(text), 1000));
  }
  void checksEnd(const CheckCount& count) override {
    if (quiet_) return;
    line(counted(count.faults, "fault", "faults") + ", " + counted(count.warnings, "warning", "warnings"));
  }
  void fileStarts(const std::string& file, int number, int of) override {
    keepBar();
    progress_.reset();
    if (quiet_) return;
    line("[" + std::to_string(number) + "/" + std::to_string(of) + "] " + singleLine(file));
  }
  void fileEnds(const std::string& file, int exitCode) override {
    if (exitCode != Exit::done) notUploaded_.push_back(singleLine(file));
  }
  void uploadsEnd(const UploadCount& count) override {
    keepBar();
    progress_.reset();
    if (quiet_ && notUploaded_.empty()) return;
    const int done = count.uploaded + count.planned;
    std::string text = std::to_string(done) + " of " + counted(count.files, "video", "videos") +
                       (isDryRun_ ? " would be uploaded" : " uploaded");
    if (const int left = count.files - done - count.failed; left > 0) {
      text += ", " + std::to_string(left) + " not sent";
    }
    for (std::size_t i = 0; i < notUploaded_.size(); ++i)
      text += (i == 0 ? "; not: " : ", ") + notUploaded_[i];
    line(text);
  }
  void uploadPlanned(const UploadPlan& plan) override {
    std::cout << "would upload " << singleLine(plan.file) << " ("
              << amountText(static_cast<double>(plan.bytes)) << ") to " << platform_ << '\n';
    detail("  title        ", plan.title);
    detail("  description  ", plan.description);
    detail("  tags         ", plan.tags);
    detail("  category     ", plan.category);
    detail("  privacy      ", plan.privacy);
    detail("  thumbnail    ", plan.thumbnail);
    std::cout << std::flush;
  }
  void uploadStarts(std::uint64_t bytes) override {
    finishedBefore_ = false;
    if (quiet_) return;
    progress_.emplace(bytes, Progress::Clock::now());
    lastPrinted_ = -1;
    draw();
  }
  void uploadProgress(int percent) override {
    if (!progress_) return;
    progress_->advance(percent);
    if (terminal_) {
      if (percent != std::exchange(lastPrinted_, percent)) draw();
      return;
    }
    if (!isNews(percent)) return;
    lastPrinted_ = percent;
    line(progress_->line(Progress::Clock::now()));
  }
  void uploadStops(const std::string& text) override {
    stopping_ = true;
    line(text);
  }
  void finished(const std::string& text) override {
    keepBar();
    progress_.reset();
    // Douyin tells its end twice.
    const std::string news = std::exchange(finishedBefore_, true) ? "uploaded, told once more" : "uploaded";
    const std::string shown = coloured(news, Colour::green, coloured_);
    line(text.empty() ? shown : shown + ": " + singleLine(withoutGivenSecrets(text)));
  }
  void error(int code, const std::string& text) override {
    complain(explainError(code, text, way_, program_));
  }
  void notRenewed(int code, const std::string& text) override {
    complain(explainNotRenewed(code, text, way_, command_ == Command::upload, program_));
  }
  void uploadError(int value, const std::string& text) override {
    const UploadErrorText split = splitUploadError(text);
    // A script's errors have no number.
    if (stopping_ && (split.code == KBL::ErrorCode::userCancelled || split.code == 0)) {
      keepBar();
      progress_.reset();
      return line("the transfer was cut off (" + singleLine(withoutSecrets(text)) + ")");
    }
    // Only an invalid token comes without a value.
    complain(value == 0 ? explainRefusedLogin(text, way_, program_)
                        : explainError(split.code, split.message, way_, program_));
  }
  void trouble(const std::string& text, Cause) override { complain(text); }
  void sandboxListens(const SandboxPlaces& places) override {
    // The configuration alone goes to the standard output, so that it can be sent into a file.
    std::cerr << "stand-in servers listen on " << places.url
              << "; open it in a browser to watch them. Ctrl-C ends them.\n";
    // People find the rest on the page.
    if (terminal_ && places.authorityFile.empty() && places.configFile.empty()) return;
    std::cerr << "For scripts: MEDIATRANSFER_SERVICES=" << places.scriptServices << '\n';
    if (!places.authorityFile.empty()) {
      std::cerr << "Their certificate authority: " << places.authorityFile << '\n';
    }
    std::cerr << "Their cloud configuration, for --cloud-config:"
              << (places.configFile.empty() ? "" : " " + places.configFile) << std::endl;
    if (places.configFile.empty()) std::cout << places.config << std::endl;
  }

  void served(const ServedExchange& exchange) override {
    const std::string status = exchange.status == 0 ? "none" : std::to_string(exchange.status);
    const std::string line =
        status + " " + exchange.method + " " + singleLine(withoutGivenSecrets(exchange.target)) + "  " +
        std::to_string((exchange.microseconds + 500) / 1000) + " ms, " + std::to_string(exchange.received) +
        " bytes in, " + std::to_string(exchange.sent) + " out";
    std::cerr << line << (exchange.disturbed ? ", disturbed by a fault" : "") << std::endl;
  }

  void mediaStarts() override {
    if (!quiet_) meter_.emplace();
  }
  void album(const AlbumEvent& album) override {
    if (album.id.empty() && album.more == 0) return;  // the end of the list, and nothing else
    if (rows_++ == 0) head(cell("ALBUM", idColumn) + "NAME");
    std::cout << cell(singleLine(album.id), idColumn) << singleLine(album.name) << '\n' << std::flush;
  }
  void media(const MediaEvent& media) override {
    if (media.more == 0) return;
    if (fetchesAlbum_) {
      ++rows_;
      return;
    }
    if (rows_++ == 0) head(cell("TYPE", typeColumn) + "ADDRESS  THUMBNAIL");
    const std::string url = media.url.empty() ? "-" : singleLine(media.url);
    std::cout << cell(media.type == KBL::mediaVideo ? "video" : "picture", typeColumn) << url << "  "
              << singleLine(media.thumbnail) << '\n'
              << std::flush;
  }
  void download(const DownloadEvent& download) override {
    totalBytes_ = download.total;
    if (meter_) meter_->show(download);
  }
  void mediaError(const MediaErrorEvent& error) override {
    if (meter_) meter_->close();
    const bool isTooLarge = totalBytes_ == std::numeric_limits<std::int32_t>::max();
    complain(explainMediaError(error.code, error.text, isTooLarge));
  }
  void mediaEnds(MediaEnd end) override {
    if (meter_) meter_->close();
    std::cout << std::flush;
    if (end == MediaEnd::stopped) return line("stopped");
    if (end == MediaEnd::failed) return;
    if (sendsBytes_) return;
    if (command_ == Command::download) return note("stored in " + file_);
    if (command_ == Command::albums) return note(counted(rows_, "album", "albums"));
    note(counted(rows_, "entry", "entries"));
  }

  void fetchesStart(const FetchCount& count) override {
    if (!quiet_ && count.wanted > 0) fetches_.emplace(count);
  }
  void fetched(const FetchedEntry& entry) override {
    if (fetches_ && entry.outcome == FetchedEntry::Outcome::stored) fetches_->countOne();
    if (entry.outcome == FetchedEntry::Outcome::planned) line("would fetch " + entry.file);
  }
  void fetchFailed(const FetchedEntry& entry, const MediaErrorEvent& error, bool isTooLarge) override {
    if (fetches_) fetches_->wipe();
    complain(entry.file + ": " + explainMediaError(error.code, error.text, isTooLarge));
    if (fetches_) fetches_->countOne();
  }
  void fetchProgress(std::uint64_t bytes) override {
    if (!fetches_) return;
    fetches_->setBytes(bytes);
    fetches_->tick();
  }
  void fetchesEnd(const FetchCount& count, bool isStopped) override {
    if (fetches_) fetches_->wipe();
    fetches_.reset();
    if (quiet_ && count.failed == 0 && !isStopped) return;
    std::string text = isStopped ? "stopped; " : "";
    if (isDryRun_) {
      text += std::to_string(count.wanted) + " of " + counted(count.entries, "entry", "entries") +
              " would be fetched into " + folder_;
    } else {
      text += std::to_string(count.stored) + " of " + counted(count.entries, "entry", "entries") +
              " stored in " + folder_;
    }
    if (count.there > 0) text += ", " + std::to_string(count.there) + " there before";
    if (count.failed > 0) text += ", " + std::to_string(count.failed) + " failed";
    if (count.unaddressed > 0) text += ", " + std::to_string(count.unaddressed) + " without an address";
    if (const int left = count.wanted - count.stored - count.failed; left > 0 && !isDryRun_) {
      text += ", " + std::to_string(left) + " left";
    }
    line(singleLine(text));
  }

  void note(const std::string& text) override {
    // A login's notes say what people have to do.
    if (!quiet_ || command_ == Command::login) line(withoutGivenSecrets(text));
  }
  void waitsFor(const std::string& what) override {
    if (what == wait_ && waitIsTold_) return;
    wait_ = what;
    waitIsTold_ = false;
    waitBegan_ = Progress::Clock::now();
  }
  void waiting(const std::string& what) override {
    if (!quiet_) std::cerr << "waiting for " + singleLine(withoutGivenSecrets(what)) + "\n" << std::flush;
  }
  void tick() override {
    tellWaiting();
    if (meter_) meter_->tick();
    if (Progress::Clock::now() - drawn_ > std::chrono::milliseconds(500)) draw();
  }
  void done(int) override { keepBar(); }

 private:
  void tellWaiting() {
    if (wait_.empty() || waitIsTold_ || Progress::Clock::now() - waitBegan_ < waitingIsTold) return;
    waitIsTold_ = true;
    if (meter_) meter_->close();
    wipeBar();
    std::cout << std::flush;
    waiting(wait_);
    draw();
  }

  void complain(const std::string& text) {
    keepBar();
    std::cout << std::flush;
    std::cerr << coloured("mediatransfer:", Colour::red, colouredErrors_) << ' '
              << singleLine(withoutGivenSecrets(text)) << std::endl;
  }

  /// Without a terminal a line every ten per cent is enough.
  [[nodiscard]] bool isNews(int percent) const {
    return lastPrinted_ < 0 || percent / 10 != lastPrinted_ / 10;
  }

  static void detail(const char* name, const std::string& value) {
    if (!value.empty()) std::cout << name << singleLine(value) << '\n';
  }
  void details(const Person& person) const {
    detail("name        ", person.name);
    detail("first name  ", person.firstName);
    detail("last name   ", person.lastName);
    detail("account     ", person.account);
    detail("account id  ", person.accountUid);
    if (sendsCategories_) detail("categories  ", categoriesText(person.categories));
    detail("user        ", person.user);
    std::cout << std::flush;
  }

  void head(const std::string& text) const { std::cout << coloured(text, Colour::bold, coloured_) << '\n'; }

  void line(const std::string& text) {
    wipeBar();
    std::cout << text << std::endl;
    draw();
  }

  void draw() {
    if (!terminal_ || !progress_) return;
    drawn_ = Progress::Clock::now();
    wipeBar();
    std::cout << colouredBar(progress_->bar(drawn_, terminalWidth() - 1), coloured_) << std::flush;
    barShown_ = true;
  }

  void wipeBar() {
    if (barShown_) std::cout << "\r\x1b[K";
    barShown_ = false;
  }

  /// Leaves the bar as it stands and goes on below it.
  void keepBar() {
    if (barShown_) std::cout << std::endl;
    barShown_ = false;
  }

  Command command_;
  std::string file_;
  bool sendsBytes_;
  std::string folder_;  ///< of an album's files
  bool fetchesAlbum_;
  bool isDryRun_;
  std::string_view platform_;
  std::string way_;      ///< the platform as it stands behind a command
  std::string program_;  ///< how a next call begins
  bool standIns_;
  bool sendsCategories_;  ///< the platform's uploads have a place for them on this way
  bool quiet_;
  bool terminal_;
  bool coloured_;  ///< the standard output
  bool colouredErrors_;
  std::optional<Progress> progress_;
  Progress::Clock::time_point drawn_{};
  bool barShown_ = false;
  std::string wait_;  ///< what is waited for; empty: nothing
  Progress::Clock::time_point waitBegan_{};
  bool waitIsTold_ = false;
  int lastPrinted_ = -1;
  bool stopping_ = false;
  bool finishedBefore_ = false;
  std::vector<std::string> notUploaded_;
  std::optional<MediaMeter> meter_;    ///< of a listing or a download
  std::optional<FetchMeter> fetches_;  ///< of an album
  std::size_t rows_ = 0;
  int totalBytes_ = 0;
};

}  // namespace

std::unique_ptr<Report> makeConsoleReport(const Options& options) {
  return std::make_unique<ConsoleReport>(options);
}

}  // namespace host
