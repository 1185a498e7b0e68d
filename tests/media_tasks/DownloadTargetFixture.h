#pragma once

#include "media_tasks/SNRFacebookDownloadMediaTask.h"
#include "media_tasks/ScriptedFetcher.h"
#include "support/MediaHost.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

/// Larger than what waits in memory, and smaller.
inline constexpr std::size_t large = 300000;
inline constexpr std::size_t small = 1000;

class DownloadTargetTest : public testing::Test {
 protected:
  void download(const std::string& path, const std::string& body) {
    fetcher.answerAlways(body);
    run(path);
  }

  void run(const std::string& path) {
    KBL::SNRFacebookDownloadMediaTask task(ScriptedFetcher::url(), path, &MediaHost::onError,
                                           &MediaHost::onProgress, fetcher);
    task.setHostContext(&host);
    task.Run();
  }

  [[nodiscard]] std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(directory.path())) {
      found.push_back(entry.path().filename().string());
    }
    return found;
  }

  ScriptedFetcher fetcher;
  TemporaryDirectory directory;
  MediaHost host;
};

using DownloadTarget = DownloadTargetTest;
