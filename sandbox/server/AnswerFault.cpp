#include "sandbox/server/AnswerFault.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/server/Compression.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>

namespace sandbox {

namespace {

constexpr std::string_view fillerStart = R"({"code":0,"msg":"","data":{"filler":")";
constexpr std::string_view fillerEnd = R"("}})";
constexpr std::size_t pieceSize = std::size_t{64} * 1024;

// Bytes `offset` and following of a JSON text of `total` bytes, at most a piece of them; empty at the end.
std::string fillerPiece(std::uint64_t offset, std::uint64_t total) {
  if (offset == 0) return std::string(fillerStart);
  if (offset >= total) return {};
  const std::uint64_t filled = total - fillerEnd.size();
  if (offset >= filled) return std::string(fillerEnd.substr(static_cast<std::size_t>(offset - filled)));
  return std::string(static_cast<std::size_t>(std::min<std::uint64_t>(pieceSize, filled - offset)), 'x');
}

std::uint64_t fillerSize(std::uint64_t wanted) {
  return std::max<std::uint64_t>(wanted, fillerStart.size() + fillerEnd.size());
}

// The value at a dotted path below `root`; missing objects on the way are made. Null when something else than
// an object or a long enough array stands in the way.
Json::Value* valueAt(Json::Value& root, std::string_view path) {
  Json::Value* value = &root;
  while (value && !path.empty()) {
    const std::size_t dot = std::min(path.find('.'), path.size());
    const std::string name(path.substr(0, dot));
    path.remove_prefix(std::min(dot + 1, path.size()));
    if (value->isArray() && name.find_first_not_of("0123456789") == std::string::npos) {
      const auto index = static_cast<Json::ArrayIndex>(std::stoul(name));
      value = index < value->size() ? &(*value)[index] : nullptr;
    } else {
      value = value->isObject() || value->isNull() ? &(*value)[name] : nullptr;
    }
  }
  return value;
}

// Nothing when there is no such place.
std::optional<std::string> replaceMember(const std::string& body, const std::string& path,
                                         const std::string& json) {
  // The new text need not be JSON that our own writer would write, so it takes the place of a mark.
  constexpr std::string_view mark = "--the-replaced-member--";
  Json::Value root = parseJson(body).value_or(Json::Value(Json::objectValue));
  Json::Value* const value = valueAt(root, path);
  if (!value) return std::nullopt;
  *value = std::string(mark);
  std::string text = compactJson(root);
  const std::string quoted = '"' + std::string(mark) + '"';
  const std::size_t at = text.find(quoted);
  return text.replace(at, quoted.size(), json);
}

// Nothing when there is no such member.
std::optional<std::string> removeMember(const std::string& body, const std::string& path) {
  Json::Value root = parseJson(body).value_or(Json::Value());
  const std::size_t dot = path.rfind('.');
  const bool nestedMember = dot != std::string::npos;
  Json::Value* const parent = valueAt(root, nestedMember ? path.substr(0, dot) : std::string());
  const std::string name = nestedMember ? path.substr(dot + 1) : path;
  if (!parent || !parent->isObject() || !parent->isMember(name)) return std::nullopt;
  parent->removeMember(name);
  return compactJson(root);
}

std::string nested(std::uint64_t depth) {
  const auto count = static_cast<std::size_t>(depth);
  return R"({"code":0,"msg":"","data":)" + std::string(count, '[') + std::string(count, ']') + "}";
}

void streamPieces(httplib::Response& response, const Reply& reply) {
  response.set_chunked_content_provider(reply.contentType,
                                        [pieces = reply.pieces](std::size_t, httplib::DataSink& sink) {
                                          const std::optional<std::string> piece = pieces();
                                          if (!piece) {
                                            sink.done();
                                            return true;
                                          }
                                          return piece->empty() || sink.write(piece->data(), piece->size());
                                        });
}

}  // namespace

void fillResponse(httplib::Response& response, const Reply& reply) {
  response.status = reply.status;
  for (const auto& [name, value] : reply.headers) response.headers.emplace(name, value);
  if (reply.pieces) return streamPieces(response, reply);
  if (!reply.body.empty()) response.set_content(reply.body, reply.contentType);
}

AnswerFault::AnswerFault(const FaultBook::Delivery& delivery, FaultBook& faults, ConnectionStream& stream,
                         std::function<bool()> stall, std::function<bool()> reset)
    : delivery_(delivery),
      fault_(delivery.fault),
      faults_(faults),
      stream_(stream),
      stall_(std::move(stall)),
      reset_(std::move(reset)) {}

bool AnswerFault::replacesService(Fault::Kind kind) {
  return kind == Fault::Kind::status || kind == Fault::Kind::hugeBody || kind == Fault::Kind::gzipBomb ||
         kind == Fault::Kind::deepNesting;
}

bool AnswerFault::forbidsCompression(Fault::Kind kind) {
  return kind == Fault::Kind::gzip || kind == Fault::Kind::gzipBomb || kind == Fault::Kind::hugeBody ||
         kind == Fault::Kind::status || kind == Fault::Kind::statusAfterAct;
}

void AnswerFault::answer(httplib::Response& response, Reply reply) {
  switch (fault_.kind) {
    case Fault::Kind::resetAnswerAfter:
      stream_.interruptAnswerAfter(fault_.bytes, reset_);
      return fillResponse(response, reply);
    case Fault::Kind::stallAnswerAfter:
      stream_.interruptAnswerAfter(fault_.bytes, stall_);
      return fillResponse(response, reply);
    case Fault::Kind::slowAnswer:
      delivered();
      if (!faults_.pause(fault_.delay)) stream_.end();
      return fillResponse(response, reply);
    case Fault::Kind::trickle:
      return trickle(response, std::move(reply));
    case Fault::Kind::truncatedBody:
      return truncate(response, std::move(reply));
    case Fault::Kind::hugeBody:
      return hugeBody(response);
    case Fault::Kind::gzipBomb:
      return gzipBomb(response);
    default:
      return answerDistorted(response, std::move(reply));
  }
}

void AnswerFault::delivered() {
  faults_.delivered(delivery_.id);
}

// The faults that change what the answer says. One that finds nothing to change is not delivered.
void AnswerFault::answerDistorted(httplib::Response& response, Reply reply) {
  std::optional<std::string> body;
  switch (fault_.kind) {
    case Fault::Kind::status:
    case Fault::Kind::statusAfterAct:
      reply = Reply{fault_.code, "", fault_.contentType, fault_.headers};
      body = fault_.text;
      break;
    case Fault::Kind::deepNesting:
      body = nested(fault_.bytes);
      break;
    case Fault::Kind::brokenJson:
      body = reply.body.empty() ? R"({"broken":)" : reply.body.substr(0, (reply.body.size() + 1) / 2);
      break;
    case Fault::Kind::replaceMember:
      body = replaceMember(reply.body, fault_.path, fault_.text);
      break;
    case Fault::Kind::removeMember:
      body = removeMember(reply.body, fault_.path);
      break;
    case Fault::Kind::gzip:
      body = gzipped(reply.body);
      reply.headers.emplace_back("Content-Encoding", "gzip");
      break;
    default:
      break;
  }
  if (body) {
    delivered();
    reply.body = *std::move(body);
  }
  fillResponse(response, reply);
}

void AnswerFault::trickle(httplib::Response& response, Reply reply) {
  delivered();
  const auto body = std::make_shared<const std::string>(std::exchange(reply.body, {}));
  const std::string contentType = reply.contentType;
  fillResponse(response, reply);
  if (body->empty()) return;
  const auto step = static_cast<std::size_t>(std::max<std::uint64_t>(fault_.bytes, 1));
  response.set_content_provider(body->size(), contentType,
                                [&faults = faults_, delay = fault_.delay, body, step](
                                    std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                  const std::size_t count = std::min(step, length);
                                  return sink.write(body->data() + offset, count) &&
                                         (count == length || faults.pause(delay));
                                });
}

void AnswerFault::truncate(httplib::Response& response, Reply reply) {
  delivered();
  const auto sent = static_cast<std::size_t>(std::min<std::uint64_t>(fault_.bytes, reply.body.size()));
  const std::size_t announced = std::max(reply.body.size(), sent + 1);
  const std::string part = reply.body.substr(0, sent);
  const std::string contentType = reply.contentType;
  reply.body.clear();
  fillResponse(response, reply);
  response.set_content_provider(announced, contentType,
                                [part](std::size_t, std::size_t, httplib::DataSink& sink) {
                                  sink.write(part.data(), part.size());
                                  return false;
                                });
}

void AnswerFault::hugeBody(httplib::Response& response) {
  delivered();
  const std::uint64_t total = fillerSize(fault_.bytes);
  response.status = 200;
  response.set_content_provider(static_cast<std::size_t>(total), "application/json",
                                [total](std::size_t offset, std::size_t, httplib::DataSink& sink) {
                                  const std::string piece = fillerPiece(offset, total);
                                  return sink.write(piece.data(), piece.size());
                                });
}

void AnswerFault::gzipBomb(httplib::Response& response) {
  delivered();
  const std::uint64_t total = fillerSize(fault_.bytes);
  response.status = 200;
  response.set_header("Content-Encoding", "gzip");
  response.set_chunked_content_provider("application/json", [total](std::size_t, httplib::DataSink& sink) {
    std::uint64_t offset = 0;
    const auto source = [&] {
      std::string piece = fillerPiece(offset, total);
      offset += piece.size();
      return piece;
    };
    const bool whole =
        gzipStream(source, [&](const std::string& piece) { return sink.write(piece.data(), piece.size()); });
    if (whole) sink.done();
    return whole;
  });
}

}  // namespace sandbox
