#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace sandbox {

/// Reads a multipart/form-data body as it arrives and keeps no more of it than a delimiter's length, so that
/// a form may carry a file of any size.
class MultipartForm {
 public:
  struct Field {
    std::string name;
    std::optional<std::string> fileName;  ///< a field without one is no file
    std::string contentType;
  };
  /// Hears of each field before its bytes; false refuses the form.
  using FieldSink = std::function<bool(const Field& field)>;
  /// Takes the bytes of the field that was announced last; false refuses the form.
  using ByteSink = std::function<bool(const char* bytes, std::size_t count)>;

  MultipartForm(const std::string& boundary, FieldSink onField, ByteSink onBytes);

  /// The next bytes of the body. False from the first fault of the form, or refusal, on.
  bool take(const char* bytes, std::size_t count);
  /// The closing delimiter has come.
  [[nodiscard]] bool ended() const { return state_ == State::ended; }

  /// The boundary of a Content-Type header; nothing when that is no multipart/form-data.
  [[nodiscard]] static std::optional<std::string> boundaryOf(std::string_view contentType);

 private:
  enum class State { content, behindDelimiter, head, ended, broken };

  /// Each takes what it can off the buffer; false when it needs more bytes.
  bool step();
  bool takeContent();
  bool takeDelimiterEnd();
  bool takeHead();
  void emit(std::size_t count);

  const std::string delimiter_;
  const FieldSink onField_;
  const ByteSink onBytes_;
  std::string buffer_ = "\r\n";  ///< the first delimiter has no line break in front of it
  State state_ = State::content;
  bool announced_ = false;  ///< a field's bytes are coming, not what stands in front of the first one
};

}  // namespace sandbox
