#pragma once

#include "options/Failure.h"
#include "options/Settings.h"
#include "report/Events.h"

#include <cstdint>
#include <memory>
#include <string>

namespace host {

struct Options;

/// What a line about a user tells.
enum class PersonNews {
  loginDone,
  verified,
  stored,  ///< a login is stored, and nobody was asked whether it is good
  user,
  loggedOut
};

/// Somebody who is signed in, as `status` shows it.
struct SignedIn {
  std::string profile;
  std::string platform;
  std::string platformAndWay;  ///< as it stands behind a command
  bool byScript = false;
  Person person;
  std::string server;  ///< that the login is from; empty: not known
};

/// What an upload would send. Empty texts are not sent.
struct UploadPlan {
  std::string file;
  std::uint64_t bytes = 0;
  std::string title;  ///< as it is cut
  std::string description;
  std::string tags;
  std::string category;
  std::string privacy;
  std::string thumbnail;
};

/// What became of several uploads. Those that are neither were not begun, or were stopped.
struct UploadCount {
  int files = 0;
  int uploaded = 0;
  int failed = 0;
  int planned = 0;  ///< of a dry run
};

/// What became of one entry of an album.
struct FetchedEntry {
  enum class Outcome {
    stored,
    there,  ///< the folder had it before
    failed,
    planned,     ///< it would be fetched
    unaddressed  ///< the service gives no address of it
  };
  std::string id;
  std::string file;  ///< its name
  std::uint64_t bytes = 0;
  Outcome outcome = Outcome::stored;
};

/// What became of an album. Those that are neither were not begun, or were stopped.
struct FetchCount {
  int entries = 0;
  int wanted = 0;  ///< those that the folder did not have
  int stored = 0;
  int there = 0;
  int failed = 0;
  int unaddressed = 0;
};

/// Where the stand-in servers are and how a host finds them.
struct SandboxPlaces {
  std::string url;
  std::string authorityFile;   ///< of the certificate authority to trust; empty without TLS
  std::string config;          ///< the cloud configuration, a JSON object
  std::string configFile;      ///< where it was written, too; empty: nowhere
  std::string scriptServices;  ///< the file with the addresses for scripts
};

/// One exchange of the stand-in servers that has ended.
struct ServedExchange {
  std::string route;
  std::string method;
  std::string target;  ///< without secrets
  int status = 0;      ///< 0: no answer went out
  std::int64_t microseconds = 0;
  std::uint64_t received = 0;  ///< bytes of the request's body
  std::uint64_t sent = 0;      ///< bytes of the answer
  bool disturbed = false;      ///< by an ordered fault
};

/// Something that `doctor` has looked at.
struct Check {
  enum class State { ok, warning, fault };
  std::string name;
  State state = State::ok;
  std::string text;
  std::string remedy;  ///< empty where nothing has to be done
};

struct CheckCount {
  int faults = 0;
  int warnings = 0;
};

/// How a listing or a download came to its end.
enum class MediaEnd { good, failed, stopped };

/// How the program talks to whoever started it: for people or as JSON lines. Used by the main thread alone.
class Report {
 public:
  virtual ~Report() = default;

  virtual void loginUrl(const std::string& user, const std::string& url) = 0;
  virtual void callbackUrl(const std::string& user, const std::string& url) = 0;
  virtual void tokenChanged(const std::string& user) = 0;
  virtual void person(PersonNews news, const Person& person) = 0;
  virtual void signedIn(const SignedIn& login) = 0;
  /// A setting with the value that holds; `alone`: nothing but its value was asked for.
  virtual void setting(const SettingValue& value, bool alone) = 0;
  virtual void checked(const Check& check) = 0;
  virtual void checksEnd(const CheckCount& count) = 0;
  // Of several files: before each, behind each with its exit code, and once at the end.
  virtual void fileStarts(const std::string& file, int number, int of) = 0;
  virtual void fileEnds(const std::string& file, int exitCode) = 0;
  virtual void uploadsEnd(const UploadCount& count) = 0;
  virtual void uploadPlanned(const UploadPlan& plan) = 0;
  /// An upload of `bytes` is about to start.
  virtual void uploadStarts(std::uint64_t bytes) = 0;
  virtual void uploadProgress(int percent) = 0;
  /// Ctrl-C stops the upload, which `line` says; what still comes of it is reported as before.
  virtual void uploadStops(const std::string& line) = 0;
  virtual void finished(const std::string& text) = 0;
  /// An error that a manager or a task reported.
  virtual void error(int code, const std::string& text) = 0;
  /// The account server refused to renew the stored login. An upload goes on with the token at hand.
  virtual void notRenewed(int code, const std::string& text) = 0;
  /// An error that an upload reported.
  virtual void uploadError(int value, const std::string& text) = 0;
  /// Trouble that the program itself found: one line that says what to do next.
  virtual void trouble(const std::string& line, Cause cause) = 0;
  virtual void sandboxListens(const SandboxPlaces& places) = 0;
  virtual void served(const ServedExchange& exchange) = 0;

  /// A listing or a download is about to start.
  virtual void mediaStarts() = 0;
  virtual void album(const AlbumEvent& album) = 0;
  virtual void media(const MediaEvent& media) = 0;
  virtual void download(const DownloadEvent& download) = 0;
  virtual void mediaError(const MediaErrorEvent& error) = 0;
  virtual void mediaEnds(MediaEnd end) = 0;
  // Of an album: before the first download, for each entry, in between, and at the end.
  virtual void fetchesStart(const FetchCount& count) = 0;
  virtual void fetched(const FetchedEntry& entry) = 0;
  /// `isTooLarge` as `explainMediaError` has it.
  virtual void fetchFailed(const FetchedEntry& entry, const MediaErrorEvent& error, bool isTooLarge) = 0;
  /// So many bytes have come of all that were begun.
  virtual void fetchProgress(std::uint64_t bytes) = 0;
  virtual void fetchesEnd(const FetchCount& count, bool isStopped) = 0;

  /// A line for people alone.
  virtual void note(const std::string& line) = 0;
  /// From now on the program waits for this, which people are told when it takes longer than a moment; each
  /// call begins anew, and an empty text ends it.
  virtual void waitsFor(const std::string& what) = 0;
  /// The wait goes on, and is told at once. The one call that may come on another thread, while the main one
  /// is inside a call of the library.
  virtual void waiting(const std::string& what) = 0;
  /// Comes about ten times a second while the program waits.
  virtual void tick() = 0;
  /// The last call.
  virtual void done(int exitCode) = 0;
};

[[nodiscard]] std::unique_ptr<Report> makeJsonReport();
[[nodiscard]] std::unique_ptr<Report> makeConsoleReport(const Options& options);

}  // namespace host
