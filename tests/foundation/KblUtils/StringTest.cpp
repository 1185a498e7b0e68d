#include <KblUtils/StringUtil.h>

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <mutex>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

using KBL::StringUtil;

namespace {

std::wstring wide(const std::string& text) {
  std::wstring result = L"former contents";
  EXPECT_TRUE(StringUtil::utf8ToWide(text.data(), text.size(), result));
  return result;
}

std::string uuid() {
  std::array<char, 64> buffer{};
  KblGenerateUuid(buffer.data());
  return buffer.data();
}

}  // namespace

TEST(StringUtil, Utf8BecomesWideText) {
  EXPECT_EQ(wide(""), L"");
  EXPECT_EQ(wide("plain"), L"plain");
  EXPECT_EQ(wide("K\xC3\xA4se"), L"K\u00E4se");
  EXPECT_EQ(wide("\xE6\xB5\x8B\xE8\xAF\x95"), L"\u6D4B\u8BD5");
  EXPECT_EQ(wide("\xF0\x9F\x8E\xA5"), L"\U0001F3A5");
  EXPECT_EQ(wide(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST(StringUtil, InvalidBytesBecomeReplacementCharacters) {
  EXPECT_EQ(wide("a\xFFz"), L"a\uFFFDz");
  EXPECT_EQ(wide("a\x80z"), L"a\uFFFDz");
  EXPECT_EQ(wide("cut \xE6\xB5").substr(0, 5), L"cut \uFFFD");
  EXPECT_EQ(wide("\xC0\xAF").find(L'/'), std::wstring::npos) << "an overlong form must not read as a slash";
  EXPECT_EQ(wide("\xED\xA0\x80").find(static_cast<wchar_t>(0xD800)), std::wstring::npos);
}

TEST(StringUtil, NullTextIsNoText) {
  std::wstring result = L"former contents";

  EXPECT_FALSE(StringUtil::utf8ToWide(nullptr, 5, result));

  EXPECT_EQ(result, L"");
}

TEST(StringUtil, CutsOnlyBetweenCharacters) {
  const std::string text = "a\xC3\xA4\xE6\xB5\x8B\xF0\x9F\x8E\xA5";  // characters end at 1, 3, 6 and 10
  const std::array<std::size_t, 13> kept = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10, 10};
  for (std::size_t limit = 0; limit < kept.size(); ++limit) {
    EXPECT_EQ(StringUtil::cutUtf8(text, limit), text.substr(0, kept[limit])) << limit;
  }
}

TEST(StringUtil, CutsTextThatIsNoUtf8AtTheLimit) {
  EXPECT_EQ(StringUtil::cutUtf8(std::string(20, '\x80'), 10), std::string(10, '\x80'));
}

TEST(StringUtil, ExcerptHoldsFourKibibytesAndNoHalfCharacter) {
  const std::string whole = std::string(4096, 'a');
  const std::string split = std::string(4095, 'a') + "\xC3\xA4" + "b";

  EXPECT_EQ(StringUtil::excerpt(whole), whole);
  EXPECT_EQ(StringUtil::excerpt(whole + "b"), whole);
  EXPECT_EQ(StringUtil::excerpt(split), std::string(4095, 'a'));
}

TEST(Uuid, IsARandomOneOfVersionFour) {
  const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
  for (int count = 0; count < 100; ++count) EXPECT_TRUE(std::regex_match(uuid(), form)) << uuid();
}

TEST(Uuid, StaysWithinThirtySevenBytes) {
  std::array<char, 64> buffer{};
  buffer.fill('#');

  KblGenerateUuid(buffer.data());

  EXPECT_EQ(buffer[36], '\0');
  EXPECT_EQ(buffer[37], '#');
  KblGenerateUuid(nullptr);
}

TEST(Uuid, IsNeverTheSameOnAnyThread) {
  constexpr int threads = 4;
  constexpr int each = 500;
  std::set<std::string> seen;
  std::mutex mutex;
  std::vector<std::thread> workers;
  for (int worker = 0; worker < threads; ++worker) {
    workers.emplace_back([&] {
      for (int count = 0; count < each; ++count) {
        const std::string fresh = uuid();
        const std::lock_guard lock(mutex);
        seen.insert(fresh);
      }
    });
  }
  for (std::thread& worker : workers) worker.join();

  EXPECT_EQ(seen.size(), static_cast<std::size_t>(threads * each));
}

TEST(Strcpy, CopiesTheTextAndItsEnd) {
  std::array<char, 8> buffer{};
  buffer.fill('#');

  EXPECT_EQ(kbl_strcpy(buffer.data(), "four"), buffer.data());

  EXPECT_EQ(std::memcmp(buffer.data(), "four\0###", 8), 0);
}

TEST(Strcpy, NullIsAnEmptyText) {
  std::array<char, 4> buffer = {'#', '#', '#', '#'};

  EXPECT_EQ(kbl_strcpy(buffer.data(), nullptr), buffer.data());

  EXPECT_EQ(std::memcmp(buffer.data(), "\0###", 4), 0);
  EXPECT_EQ(kbl_strcpy(nullptr, "x"), nullptr);
}
