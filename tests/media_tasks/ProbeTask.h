#pragma once

#include "media_tasks/CurlMediaFetcher.h"
#include "media_tasks/SNRRequestTask.h"
#include "support/MediaHost.h"

#include <functional>
#include <string>
#include <utility>

/// A task whose job is a function, with the base's operations open to the test.
class ProbeTask final : public KBL::SNRRequestTask {
 public:
  using Job = std::function<void(ProbeTask& task)>;

  explicit ProbeTask(Job job = {}, KBL::MediaErrorCallback onError = &MediaHost::onError,
                     KBL::MediaFetcher& fetcher = KBL::curlMediaFetcher())
      : SNRRequestTask(onError, KBL::pageLimits, fetcher), job_(std::move(job)) {}
  /// Without a job.
  explicit ProbeTask(KBL::MediaFetcher& fetcher) : ProbeTask({}, &MediaHost::onError, fetcher) {}
  ~ProbeTask() override { Stop(); }

  void Run() override {
    if (job_) job_(*this);
  }

  using SNRRequestTask::errorText;
  using SNRRequestTask::Fetch;
  using SNRRequestTask::hasStalled;
  using SNRRequestTask::isCancelled;
  using SNRRequestTask::ReportError;

 private:
  const Job job_;
};
