#pragma once

#include "media_tasks/MediaFetcher.h"

#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// What one fetch brings.
struct ScriptedReply {
  std::string body{};
  bool isAnnounced{true};                   ///< how long the body is
  std::optional<std::size_t> stallAfter{};  ///< so many bytes come, then nothing until `release`
  std::optional<std::size_t> breakAfter{};  ///< so many bytes come, then the connection ends
};

/// Takes the place of the network for a task, and speaks libcurl's words. Like libcurl it gives a beat ahead
/// of all else, at which a fetch may still end without having been sent. Any thread.
class ScriptedFetcher final : public KBL::MediaFetcher {
 public:
  /// `target`: the address behind `url`, or all of another one.
  using Answer = std::function<ScriptedReply(const std::string& target)>;

  /// Where the pages and files of a test are.
  [[nodiscard]] static std::string url() { return "http://media.test"; }

  /// Without an answer, and behind the last of those in order, every fetch brings a text that is no page.
  void answer(Answer answer);
  void answerAlways(const std::string& body);
  void answerInOrder(std::vector<ScriptedReply> replies);
  /// Stalled fetches go on.
  void release();
  /// From now on every fetch is told that the process ends.
  void endProcess();

  /// How many have begun, and what those asked for that were sent.
  [[nodiscard]] std::size_t fetches() const;
  [[nodiscard]] std::vector<std::string> targets() const;
  [[nodiscard]] bool waitForTargets(std::size_t count) const;

  [[nodiscard]] KBL::FetchResult fetch(const std::string& url, std::size_t largestBody,
                                       KBL::FetchListener& listener) override;

 private:
  [[nodiscard]] ScriptedReply replyTo(const std::string& url);
  [[nodiscard]] bool outlasts(KBL::FetchListener& listener, const KBL::FetchBeat& beat) const;
  [[nodiscard]] int releases() const;

  mutable std::mutex mutex_;
  Answer answer_;
  std::vector<std::string> targets_;
  std::size_t fetches_ = 0;
  int releases_ = 0;
  bool processEnds_ = false;
};
