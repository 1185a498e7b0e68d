#pragma once

#include <BsNet/INetworkClient.h>

#include <cstddef>
#include <string>

namespace KBL {

/// Takes in what one request brings back: the headers of the final response (not of a "100 Continue" ahead of
/// it), its body up to a limit or into the caller's writer, its trailers. Redirections that may still be
/// followed are held back from the caller.
class CurlReply {
 public:
  struct Sinks {
    IBsResponseWriteCallback* writer = nullptr;
    void* writerContext = nullptr;
    IBsProgressCallback* progress = nullptr;
    std::size_t maxBodyBytes = 0;  ///< of a body in memory, decoded
    bool holdsBackRedirects = false;
  };
  /// Why the reply was refused, if it was.
  enum class Refusal { none, tooLarge, headersTooLarge, byWriter, byProgress };

  explicit CurlReply(Sinks sinks) : sinks_(sinks) {}

  [[nodiscard]] Refusal refusal() const { return refusal_; }
  [[nodiscard]] int httpCode() const { return httpCode_; }
  [[nodiscard]] bool isHeldBack() const { return heldBack_; }

  /// Gives a response that was held back to the caller after all. False when he refuses it.
  bool deliverHeldBack();

  /// Moves what was received into `reply`.
  void moveTo(NetReply& reply);

  // The callbacks; `self` is the CurlReply.
  static std::size_t takeHeader(char* line, std::size_t size, std::size_t count, void* self);
  static std::size_t takeBody(char* data, std::size_t size, std::size_t count, void* self);

 private:
  bool takeHeaderLine(const std::string& line);
  void beginResponse(const std::string& statusLine);
  bool endHeaders();
  void expectBody();
  bool announce();
  bool takeData(const char* data, std::size_t size);
  bool writeOut(const char* data, std::size_t size);
  bool refuse(Refusal why);

  Sinks sinks_;
  Refusal refusal_ = Refusal::none;
  int httpCode_ = -1;
  bool headersEnded_ = false;
  bool heldBack_ = false;
  std::size_t headerBytes_ = 0;
  std::string content_;
  HeaderMap headers_;
  HeaderMap trailers_;
};

}  // namespace KBL
