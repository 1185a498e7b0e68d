#include "sandbox/services/media/Mp4.h"

#include "sandbox/services/media/Jpeg.h"

#include <initializer_list>
#include <string_view>
#include <vector>

namespace sandbox {

namespace {

constexpr std::uint32_t framesPerSecond = 10;
constexpr std::string_view unitMatrix(
    "\0\1\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x40\0\0\0", 36);

std::string number32(std::uint32_t value) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>((value >> shift) & 0xFF);
  return text;
}

std::string number16(unsigned value) {
  return {static_cast<char>((value >> 8) & 0xFF), static_cast<char>(value & 0xFF)};
}

std::string zeros(std::size_t count) {
  return std::string(count, '\0');
}

std::string box(std::string_view type, std::initializer_list<std::string> parts) {
  std::string body;
  for (const std::string& part : parts) body += part;
  return number32(static_cast<std::uint32_t>(body.size()) + 8) + std::string(type) + body;
}

/// A box that begins with a version and flags.
std::string fullBox(std::string_view type, std::uint32_t flags, std::initializer_list<std::string> parts) {
  std::string body;
  for (const std::string& part : parts) body += part;
  return box(type, {number32(flags), body});
}

/// Says that the samples are JPEG pictures (object type 0x6C).
std::string sampleDescription(unsigned width, unsigned height) {
  const std::string config = std::string("\4\x0D\x6C\x11\0\0\0", 7) + zeros(8);
  const std::string stream = std::string("\3\x15\0\1\0", 5) + config + std::string("\6\1\2", 3);
  const std::string entry =
      box("mp4v", {zeros(6), number16(1), zeros(16), number16(width), number16(height), number32(0x00480000),
                   number32(0x00480000), zeros(4), number16(1), zeros(32), number16(24), number16(0xFFFF),
                   fullBox("esds", 0, {stream})});
  return fullBox("stsd", 0, {number32(1), entry});
}

std::string sampleTable(unsigned width, unsigned height, const std::vector<std::string>& frames,
                        std::uint32_t dataOffset) {
  const auto count = static_cast<std::uint32_t>(frames.size());
  std::string sizes;
  for (const std::string& frame : frames) sizes += number32(static_cast<std::uint32_t>(frame.size()));
  return box("stbl", {sampleDescription(width, height),
                      fullBox("stts", 0, {number32(1), number32(count), number32(1)}),
                      fullBox("stsc", 0, {number32(1), number32(1), number32(count), number32(1)}),
                      fullBox("stsz", 0, {number32(0), number32(count), sizes}),
                      fullBox("stco", 0, {number32(1), number32(dataOffset)})});
}

std::string movie(unsigned width, unsigned height, const std::vector<std::string>& frames,
                  std::uint32_t dataOffset) {
  const std::string duration = number32(static_cast<std::uint32_t>(frames.size()));
  const std::string matrix(unitMatrix);
  const std::string header = fullBox("mvhd", 0,
                                     {zeros(8), number32(framesPerSecond), duration, number32(0x00010000),
                                      number16(0x0100), zeros(10), matrix, zeros(24), number32(2)});
  const std::string trackHeader = fullBox("tkhd", 3,
                                          {zeros(8), number32(1), zeros(4), duration, zeros(16), matrix,
                                           number32(width << 16), number32(height << 16)});
  const std::string mediaHeader =
      fullBox("mdhd", 0, {zeros(8), number32(framesPerSecond), duration, number16(0x55C4), number16(0)});
  const std::string handler = fullBox("hdlr", 0, {zeros(4), "vide", zeros(12), std::string("video\0", 6)});
  const std::string dataInfo = box("dinf", {fullBox("dref", 0, {number32(1), fullBox("url ", 1, {})})});
  const std::string mediaInfo =
      box("minf", {fullBox("vmhd", 1, {zeros(8)}), dataInfo, sampleTable(width, height, frames, dataOffset)});
  return box("moov", {header, box("trak", {trackHeader, box("mdia", {mediaHeader, handler, mediaInfo})})});
}

}  // namespace

std::string makeMp4(unsigned width, unsigned height, unsigned frames, std::uint64_t seed) {
  std::vector<std::string> pictures;
  std::string data;
  for (unsigned frame = 0; frame < frames; ++frame) {
    pictures.push_back(makeJpeg(width, height, seed + frame));
    data += pictures.back();
  }
  const std::string type = box("ftyp", {"isom", number32(0x200), "isommp41"});
  // The size of the movie box does not hang on the offset that stands in it.
  const std::size_t before = type.size() + movie(width, height, pictures, 0).size() + 8;
  return type + movie(width, height, pictures, static_cast<std::uint32_t>(before)) + box("mdat", {data});
}

}  // namespace sandbox
