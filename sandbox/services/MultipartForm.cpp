#include "sandbox/services/MultipartForm.h"

#include "sandbox/base/Text.h"

#include <algorithm>
#include <utility>

namespace sandbox {

namespace {

constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view headEnd = "\r\n\r\n";
constexpr std::size_t headLimit = std::size_t{16} * 1024;
constexpr std::size_t boundaryLimit = 70;

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

/// Takes the text up to the next semicolon that stands outside of quotes.
std::string_view takePiece(std::string_view& text) {
  bool quoted = false;
  std::size_t end = 0;
  for (; end < text.size(); ++end) {
    if (text[end] == '\\' && quoted) {
      ++end;
      continue;
    }
    if (text[end] == '"') quoted = !quoted;
    if (text[end] == ';' && !quoted) break;
  }
  const std::string_view piece = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return trimmed(piece);
}

std::string unquoted(std::string_view value) {
  if (value.size() < 2 || value.front() != '"' || value.back() != '"') return std::string(value);
  std::string text;
  for (std::size_t at = 1; at + 1 < value.size(); ++at) {
    if (value[at] == '\\' && at + 2 < value.size()) ++at;
    text += value[at];
  }
  return text;
}

/// A parameter of a header value such as `form-data; name="video"; filename="a.mp4"`.
std::optional<std::string> parameter(std::string_view value, std::string_view name) {
  takePiece(value);
  while (!value.empty()) {
    const std::string_view piece = takePiece(value);
    const std::size_t equals = piece.find('=');
    if (equals == std::string_view::npos || !equalIgnoringCase(piece.substr(0, equals), name)) continue;
    return unquoted(piece.substr(equals + 1));
  }
  return std::nullopt;
}

bool isOfKind(std::string_view value, std::string_view kind) {
  return equalIgnoringCase(takePiece(value), kind);
}

std::optional<MultipartForm::Field> parseField(std::string_view head) {
  MultipartForm::Field field;
  bool named = false;
  while (!head.empty()) {
    const std::string_view line = head.substr(0, head.find(lineEnd));
    head.remove_prefix(std::min(line.size() + lineEnd.size(), head.size()));
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    const std::string_view value = trimmed(line.substr(colon + 1));
    if (equalIgnoringCase(line.substr(0, colon), "Content-Type")) field.contentType = value;
    if (!equalIgnoringCase(line.substr(0, colon), "Content-Disposition")) continue;
    const std::optional<std::string> name = parameter(value, "name");
    if (!name || !isOfKind(value, "form-data")) return std::nullopt;
    field.name = *name;
    field.fileName = parameter(value, "filename");
    named = true;
  }
  return named ? std::optional(std::move(field)) : std::nullopt;
}

}  // namespace

MultipartForm::MultipartForm(const std::string& boundary, FieldSink onField, ByteSink onBytes)
    : delimiter_("\r\n--" + boundary), onField_(std::move(onField)), onBytes_(std::move(onBytes)) {}

std::optional<std::string> MultipartForm::boundaryOf(std::string_view contentType) {
  if (!isOfKind(contentType, "multipart/form-data")) return std::nullopt;
  std::optional<std::string> boundary = parameter(contentType, "boundary");
  if (!boundary || boundary->empty() || boundary->size() > boundaryLimit) return std::nullopt;
  return boundary;
}

bool MultipartForm::take(const char* bytes, std::size_t count) {
  if (state_ == State::broken) return false;
  buffer_.append(bytes, count);
  while (step()) {
  }
  return state_ != State::broken;
}

bool MultipartForm::step() {
  switch (state_) {
    case State::content:
      return takeContent();
    case State::behindDelimiter:
      return takeDelimiterEnd();
    case State::head:
      return takeHead();
    case State::ended:
      buffer_.clear();  // what follows the closing delimiter means nothing
      return false;
    case State::broken:
      return false;
  }
  return false;
}

bool MultipartForm::takeContent() {
  const std::size_t found = buffer_.find(delimiter_);
  if (found == std::string::npos) {
    // The end of the buffer may be the beginning of a delimiter.
    if (buffer_.size() >= delimiter_.size()) emit(buffer_.size() - delimiter_.size() + 1);
    return false;
  }
  emit(found);
  if (state_ == State::broken) return false;
  buffer_.erase(0, delimiter_.size());
  state_ = State::behindDelimiter;
  return true;
}

bool MultipartForm::takeDelimiterEnd() {
  if (buffer_.size() < lineEnd.size()) return false;
  const std::string_view end = std::string_view(buffer_).substr(0, lineEnd.size());
  state_ = end == "--" ? State::ended : end == lineEnd ? State::head : State::broken;
  buffer_.erase(0, lineEnd.size());
  return true;
}

bool MultipartForm::takeHead() {
  const std::size_t end = buffer_.find(headEnd);
  if (end == std::string::npos) {
    if (buffer_.size() > headLimit) state_ = State::broken;
    return false;
  }
  const std::optional<Field> field = parseField(std::string_view(buffer_).substr(0, end));
  if (!field || !onField_(*field)) {
    state_ = State::broken;
    return false;
  }
  buffer_.erase(0, end + headEnd.size());
  announced_ = true;
  state_ = State::content;
  return true;
}

/// Hands the first bytes of the buffer over and drops them. Bytes in front of the first delimiter are a
/// fault.
void MultipartForm::emit(std::size_t count) {
  if (count > 0 && (!announced_ || !onBytes_(buffer_.data(), count))) state_ = State::broken;
  buffer_.erase(0, count);
}

}  // namespace sandbox
