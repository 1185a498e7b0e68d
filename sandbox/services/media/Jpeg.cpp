#include "sandbox/services/media/Jpeg.h"

#include <array>
#include <cstdlib>
#include <string_view>

namespace sandbox {

namespace {

/// Every 8x8 block has one colour, so that only the first of its 64 coefficients is ever written.
constexpr unsigned block = 8;
constexpr unsigned square = 4;  // blocks to the side of a square of the mosaic

/// Huffman code lengths of the differences of first coefficients, by category 0 to 11 (the usual table for
/// brightness), and their codes.
constexpr std::array<std::uint8_t, 16> dcCounts{0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0};
constexpr std::array<std::uint8_t, 12> dcLengths{2, 3, 3, 3, 3, 3, 4, 5, 6, 7, 8, 9};
constexpr std::array<std::uint16_t, 12> dcCodes{0x0, 0x2,  0x3,  0x4,  0x5,  0x6,
                                                0xE, 0x1E, 0x3E, 0x7E, 0xFE, 0x1FE};
/// A table of the other coefficients that knows "end of block" alone: one code of one bit, 0.
constexpr std::array<std::uint8_t, 16> acCounts{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

class Bytes {
 public:
  void byte(unsigned value) { text_ += static_cast<char>(value & 0xFF); }
  void word(unsigned value) {
    byte(value >> 8);
    byte(value);
  }
  void segment(unsigned marker, const std::string& body) {
    word(marker);
    word(static_cast<unsigned>(body.size()) + 2);
    text_ += body;
  }
  [[nodiscard]] std::string& text() { return text_; }

 private:
  std::string text_;
};

class BitWriter {
 public:
  explicit BitWriter(std::string& text) : text_(text) {}

  void bits(unsigned value, unsigned count) {
    while (count-- > 0) {
      current_ = (current_ << 1) | ((value >> count) & 1);
      if (++filled_ == 8) flush();
    }
  }
  /// The last byte is filled up with ones.
  void end() {
    while (filled_ != 0) bits(1, 1);
  }

 private:
  void flush() {
    text_ += static_cast<char>(current_);
    if ((current_ & 0xFF) == 0xFF) text_ += '\0';  // so that no data reads like a marker
    current_ = 0;
    filled_ = 0;
  }

  std::string& text_;
  unsigned current_ = 0;
  unsigned filled_ = 0;
};

/// The difference to the block before, then "end of block".
void writeBlock(BitWriter& out, int difference) {
  const auto size = static_cast<unsigned>(std::abs(difference));
  unsigned category = 0;
  while (size >> category != 0) ++category;
  out.bits(dcCodes[category], dcLengths[category]);
  const int shifted = difference >= 0 ? difference : difference + (1 << category) - 1;
  out.bits(static_cast<unsigned>(shifted), category);
  out.bits(0, 1);
}

/// Mixes all bits of its input.
std::uint64_t mixed(std::uint64_t value) {
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
  return value ^ (value >> 31);
}

std::array<int, 3> colourOf(std::uint64_t seed, unsigned column, unsigned row) {
  const std::uint64_t place = (std::uint64_t{column / square} << 32) | (row / square);
  const std::uint64_t value = mixed(seed + mixed(place + 1));
  // Coefficients of -100 to 100 keep far from black and white.
  std::array<int, 3> colour{};
  for (std::size_t part = 0; part < colour.size(); ++part) {
    colour[part] = static_cast<int>((value >> (part * 16)) % 201) - 100;
  }
  return colour;
}

std::string tableBody(unsigned kind, const std::array<std::uint8_t, 16>& counts) {
  std::string body(1, static_cast<char>(kind));
  unsigned total = 0;
  for (const std::uint8_t count : counts) {
    body += static_cast<char>(count);
    total += count;
  }
  for (unsigned symbol = 0; symbol < total; ++symbol) body += static_cast<char>(symbol);
  return body;
}

void writeHeaders(Bytes& out, unsigned width, unsigned height) {
  out.word(0xFFD8);
  out.segment(0xFFE0, std::string("JFIF\0\1\1\0\0\1\0\1\0\0", 14));
  out.segment(0xFFDB,
              std::string(1, '\0') + std::string(64, '\10'));  // every step is 8: a coefficient is a level
  Bytes frame;
  frame.byte(8);
  frame.word(height);
  frame.word(width);
  frame.text() += std::string_view("\3\1\x11\0\2\x11\0\3\x11\0", 10);  // three parts, none thinned out
  out.segment(0xFFC0, frame.text());
  out.segment(0xFFC4, tableBody(0x00, dcCounts));
  out.segment(0xFFC4, tableBody(0x10, acCounts));
  out.segment(0xFFDA, std::string("\3\1\0\2\0\3\0\0\x3F\0", 10));
}

}  // namespace

std::string makeJpeg(unsigned width, unsigned height, std::uint64_t seed) {
  Bytes out;
  writeHeaders(out, width, height);
  BitWriter bits(out.text());
  std::array<int, 3> before{};
  for (unsigned row = 0; row * block < height; ++row) {
    for (unsigned column = 0; column * block < width; ++column) {
      const std::array<int, 3> colour = colourOf(seed, column, row);
      for (std::size_t part = 0; part < colour.size(); ++part) {
        writeBlock(bits, colour[part] - before[part]);
      }
      before = colour;
    }
  }
  bits.end();
  out.word(0xFFD9);
  return std::move(out.text());
}

}  // namespace sandbox
