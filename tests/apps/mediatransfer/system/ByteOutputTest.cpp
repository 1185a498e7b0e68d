#include "system/ByteOutput.h"

#include <gtest/gtest.h>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

#include <array>
#include <atomic>
#include <string>
#include <thread>

namespace host {
namespace {

#if defined(_WIN32)
bool makePipe(std::array<int, 2>& ends) {
  return _pipe(ends.data(), 8192, _O_BINARY | _O_NOINHERIT) == 0;
}
int copyOf(int file) {
  return _dup(file);
}
void putInPlace(int file, int place) {
  ASSERT_GE(_dup2(file, place), 0);
  _close(file);
}
std::string readSome(int file) {
  std::array<char, 1000> bytes{};
  const int count = _read(file, bytes.data(), bytes.size());
  return {bytes.data(), static_cast<std::size_t>(count > 0 ? count : 0)};
}
void closeFile(int file) {
  _close(file);
}
#else
bool makePipe(std::array<int, 2>& ends) {
  return ::pipe(ends.data()) == 0;
}
int copyOf(int file) {
  return ::dup(file);
}
void putInPlace(int file, int place) {
  ASSERT_GE(::dup2(file, place), 0);
  ::close(file);
}
std::string readSome(int file) {
  std::array<char, 1000> bytes{};
  const ssize_t count = ::read(file, bytes.data(), bytes.size());
  return {bytes.data(), static_cast<std::size_t>(count > 0 ? count : 0)};
}
void closeFile(int file) {
  ::close(file);
}
#endif

constexpr int output = 1;
/// Far more than any pipe holds.
constexpr std::size_t much = 1 << 20;

/// The standard output as a pipe.
class ByteOutputTest : public testing::Test {
 protected:
  void SetUp() override {
    std::array<int, 2> ends{};
    ASSERT_TRUE(makePipe(ends));
    reading_ = ends[0];
    former_ = copyOf(output);
    putInPlace(ends[1], output);
  }

  void TearDown() override {
    endOutput();
    endReading();
  }

  void endOutput() {
    if (former_ >= 0) putInPlace(former_, output);
    former_ = -1;
  }
  void endReading() {
    if (reading_ >= 0) closeFile(reading_);
    reading_ = -1;
  }

  int reading_ = -1;

 private:
  int former_ = -1;
};

std::atomic<int> asked{0};

bool isOverSoon() {
  return ++asked > 30;
}

bool isNeverOver() {
  return false;
}

TEST_F(ByteOutputTest, WhereNobodyReadsIsGivenUpWhenAllIsOver) {
  asked = 0;
  const std::string bytes(much, 'b');

  const BytesSent sent = sendBytes(bytes.data(), bytes.size(), &isOverSoon);

  EXPECT_EQ(sent, BytesSent::interrupted);
}

#if defined(_WIN32)

TEST_F(ByteOutputTest, LeavesAPipeThatOthersHaveAsItWas) {
  asked = 0;
  const std::string bytes(much, 'b');

  ASSERT_EQ(sendBytes(bytes.data(), bytes.size(), &isOverSoon), BytesSent::interrupted);

  DWORD state = 0;
  ASSERT_NE(GetNamedPipeHandleStateW(reinterpret_cast<HANDLE>(_get_osfhandle(output)), &state, nullptr,
                                     nullptr, nullptr, nullptr, 0),
            0);
  EXPECT_EQ(state & PIPE_NOWAIT, 0U);
}

#endif

TEST_F(ByteOutputTest, ReachesASlowReaderToTheLastByte) {
  std::string bytes(much, 'b');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 / 3);
  std::string got;
  std::thread reader([&] {
    for (std::string piece = readSome(reading_); !piece.empty(); piece = readSome(reading_)) got += piece;
  });

  const BytesSent sent = sendBytes(bytes.data(), bytes.size(), &isNeverOver);
  endOutput();
  reader.join();

  EXPECT_EQ(sent, BytesSent::all);
  EXPECT_TRUE(got == bytes);
}

}  // namespace
}  // namespace host
