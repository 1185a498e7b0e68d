#include "support/PageServer.h"

#include "support/WaitUntil.h"
#include <BsCloudConfig/BsCloudConfig.h>

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

class PageServer::Impl {
 public:
  Impl() {
    server_.Get(".*", [this](const httplib::Request& request, httplib::Response& response) {
      int releases = 0;
      const PageReply reply = replyTo(request, releases);
      send(reply, releases, response);
    });
    port_ = server_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) std::this_thread::yield();
  }

  ~Impl() {
    release(true);
    server_.stop();
    thread_.join();
  }

  [[nodiscard]] int port() const { return port_; }

  void setAnswer(Answer answer) {
    const std::lock_guard lock(mutex_);
    answer_ = std::move(answer);
  }

  void release(bool closing) {
    const std::lock_guard lock(mutex_);
    ++releases_;
    closing_ = closing_ || closing;
    changed_.notify_all();
  }

  [[nodiscard]] std::vector<PageRequest> requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
  }

 private:
  // `releases`: how many there had been when the request came; a stall waits for the next.
  PageReply replyTo(const httplib::Request& request, int& releases) {
    Answer answer;
    {
      const std::lock_guard lock(mutex_);
      PageRequest seen{request.method, request.target, {}};
      for (const auto& [name, value] : request.headers) seen.headers.emplace(name, value);
      requests_.push_back(std::move(seen));
      answer = answer_;
      releases = releases_;
    }
    return answer ? answer(request.target) : PageReply{"nothing here", 404};
  }

  void send(const PageReply& reply, int releases, httplib::Response& response) {
    response.status = reply.status;
    for (const auto& [name, value] : reply.headers) response.set_header(name, value);
    if (reply.endless) return sendEndlessly(response);
    if (reply.stallAfter) return sendAndStall(reply, *reply.stallAfter, releases, response);
    if (reply.breakAfter) return sendAndBreak(reply, *reply.breakAfter, response);
    response.set_content(reply.body, reply.contentType);
  }

  void sendEndlessly(httplib::Response& response) {
    response.set_chunked_content_provider("application/octet-stream", [this](std::size_t, auto& sink) {
      static const std::string piece(16384, 'x');
      {
        const std::lock_guard lock(mutex_);
        if (closing_) return false;
      }
      return sink.write(piece.data(), piece.size());
    });
  }

  void sendAndStall(const PageReply& reply, std::size_t first, int releases, httplib::Response& response) {
    const auto provide = [this, body = reply.body, first, releases](std::size_t offset, std::size_t,
                                                                    auto& sink) {
      if (offset < first) return sink.write(body.data() + offset, first - offset);
      if (!waitForRelease(releases, sink)) return false;
      return sink.write(body.data() + offset, body.size() - offset);
    };
    const std::size_t length = reply.announced.value_or(reply.body.size());
    response.set_content_provider(length, "application/octet-stream", provide);
  }

  template <class Sink>
  bool waitForRelease(int before, Sink& sink) {
    std::unique_lock lock(mutex_);
    // Looks after the client from time to time, so that one that has left does not hold a thread.
    while (releases_ == before && sink.is_writable()) changed_.wait_for(lock, std::chrono::milliseconds(20));
    return !closing_ && releases_ != before;
  }

  static void sendAndBreak(const PageReply& reply, std::size_t first, httplib::Response& response) {
    const auto provide = [body = reply.body, first](std::size_t offset, std::size_t, auto& sink) {
      return offset < first && sink.write(body.data() + offset, first - offset);
    };
    response.set_content_provider(reply.body.size(), "application/octet-stream", provide);
  }

  httplib::Server server_;
  int port_ = 0;
  std::thread thread_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  Answer answer_;
  std::vector<PageRequest> requests_;
  int releases_ = 0;
  bool closing_ = false;
};

PageServer::PageServer() : impl_(std::make_unique<Impl>()) {}
PageServer::~PageServer() = default;

std::string PageServer::url() const {
  return "http://127.0.0.1:" + std::to_string(impl_->port());
}

void PageServer::answer(Answer answer) {
  impl_->setAnswer(std::move(answer));
}

void PageServer::answerAlways(const std::string& body, const std::string& contentType) {
  answer([=](const std::string&) { return PageReply{.body = body, .contentType = contentType}; });
}

void PageServer::answerInOrder(std::vector<PageReply> replies) {
  const auto next = std::make_shared<std::atomic<std::size_t>>(0);
  answer([next, replies = std::move(replies)](const std::string&) {
    const std::size_t place = (*next)++;
    return place < replies.size() ? replies[place] : PageReply{"nothing here", 404};
  });
}

void PageServer::release() {
  impl_->release(false);
}

std::vector<PageRequest> PageServer::requests() const {
  return impl_->requests();
}

std::vector<std::string> PageServer::targets() const {
  std::vector<std::string> targets;
  for (const PageRequest& request : requests()) targets.push_back(request.target);
  return targets;
}

bool PageServer::waitForRequests(std::size_t count) const {
  return waitUntil([&] { return impl_->requests().size() >= count; });
}

ScopedMediaHosts::ScopedMediaHosts(const std::string& url) {
  KBL::setCloudConfig({{"urlMediaFacebookGraph", url + "/graph"},
                       {"urlMediaFlickrRest", url + "/flickr"},
                       {"urlMediaFlickrPhoto", url + "/farm-%d"},
                       {"urlMediaInstagramApi", url + "/insta"}});
}

ScopedMediaHosts::~ScopedMediaHosts() {
  KBL::clearCloudConfig();
}
