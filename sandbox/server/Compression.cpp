#include "sandbox/server/Compression.h"

#include <zlib.h>

#include <array>
#include <memory>
#include <stdexcept>

namespace sandbox {

namespace {

constexpr int windowForGzip = 15 + 16;
constexpr int memoryLevel = 8;

struct DeflateEnd {
  void operator()(z_stream* stream) const {
    ::deflateEnd(stream);
    delete stream;
  }
};

using Deflater = std::unique_ptr<z_stream, DeflateEnd>;

Deflater makeDeflater() {
  auto stream = std::make_unique<z_stream>();
  if (::deflateInit2(stream.get(), Z_DEFAULT_COMPRESSION, Z_DEFLATED, windowForGzip, memoryLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::runtime_error("deflateInit2 failed");
  }
  return Deflater(stream.release());
}

}  // namespace

bool gzipStream(const std::function<std::string()>& source,
                const std::function<bool(const std::string&)>& sink) {
  const Deflater deflater = makeDeflater();
  std::array<Bytef, 16384> room;
  bool last = false;
  while (!last) {
    std::string piece = source();
    last = piece.empty();
    deflater->next_in = reinterpret_cast<Bytef*>(piece.data());
    deflater->avail_in = static_cast<uInt>(piece.size());
    do {
      deflater->next_out = room.data();
      deflater->avail_out = static_cast<uInt>(room.size());
      ::deflate(deflater.get(), last ? Z_FINISH : Z_NO_FLUSH);
      const std::size_t made = room.size() - deflater->avail_out;
      if (made > 0 && !sink(std::string(reinterpret_cast<const char*>(room.data()), made))) return false;
    } while (deflater->avail_out == 0);
  }
  return true;
}

std::string gzipped(const std::string& text) {
  std::string file;
  bool given = false;
  gzipStream(
      [&] {
        if (given) return std::string();
        given = true;
        return text;
      },
      [&](const std::string& piece) {
        file += piece;
        return true;
      });
  return file;
}

}  // namespace sandbox
