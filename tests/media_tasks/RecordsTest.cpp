#include "media_tasks/mediaRecords.h"
#include "support/MediaHost.h"
#include "support/Seed.h"
#include <ExternlMediaTransfer/DownloadRecords.h>

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>

using KBL::copyWide;
using KBL::wideText;

// Positions as a host reads them: by byte, in a buffer of its own.

namespace {
template <class Record>
std::string bytesOf(const Record& record) {
  return {reinterpret_cast<const char*>(&record), sizeof(record)};
}

std::int32_t numberAt(const std::string& bytes, std::size_t position) {
  std::int32_t number = 0;
  std::memcpy(&number, bytes.data() + position, sizeof(number));
  return number;
}

char16_t characterAt(const std::string& bytes, std::size_t position) {
  char16_t character = 0;
  std::memcpy(&character, bytes.data() + position, sizeof(character));
  return character;
}
}  // namespace

TEST(DownloadRecords, ErrorHasItsPositions) {
  KBL::hostErrorRecord record{};
  record.code = 190;
  copyWide("m", record.message);
  const std::string bytes = bytesOf(record);
  EXPECT_EQ(bytes.size(), 2052U);
  EXPECT_EQ(numberAt(bytes, 0), 190);
  EXPECT_EQ(characterAt(bytes, 4), u'm');
}

TEST(DownloadRecords, AlbumHasItsPositions) {
  KBL::hostAlbumRecord record{};
  copyWide("i", record.id);
  copyWide("n", record.name);
  record.more = 1;
  const std::string bytes = bytesOf(record);
  EXPECT_EQ(bytes.size(), 1032U);
  EXPECT_EQ(characterAt(bytes, 0), u'i');
  EXPECT_EQ(characterAt(bytes, 512), u'n');
  EXPECT_EQ(numberAt(bytes, 1024), 0);
  EXPECT_EQ(numberAt(bytes, 1028), 1);
}

TEST(DownloadRecords, MediaHasItsPositions) {
  KBL::hostMediaRecord record{};
  record.type = KBL::mediaVideo;
  copyWide("u", record.mediaUrl);
  copyWide("t", record.thumbnailUrl);
  record.more = 1;
  const std::string bytes = bytesOf(record);
  EXPECT_EQ(bytes.size(), 4616U);
  EXPECT_EQ(numberAt(bytes, 0), 1);
  EXPECT_EQ(characterAt(bytes, 4), u'\0');
  EXPECT_EQ(characterAt(bytes, 516), u'u');
  EXPECT_EQ(characterAt(bytes, 2564), u't');
  EXPECT_EQ(numberAt(bytes, 4612), 1);
}

TEST(DownloadRecords, ProgressHasItsPositions) {
  const KBL::hostProgressRecord record{1, 2, 3};
  const std::string bytes = bytesOf(record);
  EXPECT_EQ(bytes.size(), 12U);
  EXPECT_EQ(numberAt(bytes, 0), 1);
  EXPECT_EQ(numberAt(bytes, 4), 2);
  EXPECT_EQ(numberAt(bytes, 8), 3);
}

TEST(WideText, ConvertsEveryLengthOfCharacter) {
  EXPECT_EQ(wideText("a\xc3\xa9\xe2\x82\xac\xf0\x9f\x8e\xac"), u"a\u00e9\u20ac\U0001F3AC");
}

TEST(WideText, ReplacesWhatIsNoUtf8) {
  EXPECT_EQ(wideText("a\xff"), u"a\uFFFD");
  EXPECT_EQ(wideText("\xed\xa0\x80z").back(), u'z');
  EXPECT_EQ(wideText("\xed\xa0\x80z").front(), u'\uFFFD');
  EXPECT_EQ(wideText("\xe2\x82"), u"\uFFFD");
}

TEST(MediaRecord, LeavesNothingOfTheMemoryBelowIt) {
  alignas(KBL::hostMediaRecord) unsigned char memory[sizeof(KBL::hostMediaRecord)];
  std::memset(memory, 0xEE, sizeof(memory));
  const auto* const record =
      new (memory) KBL::hostMediaRecord(KBL::mediaRecord(KBL::mediaVideo, "url", "t\xc3\xa9"));
  KBL::hostMediaRecord wanted{};
  wanted.type = KBL::mediaVideo;
  wanted.more = 1;
  copyWide("url", wanted.mediaUrl);
  copyWide("t\xc3\xa9", wanted.thumbnailUrl);
  EXPECT_EQ(std::memcmp(record, &wanted, sizeof(wanted)), 0);
}

TEST(WideText, FillsAFieldAndItsRestWithZeros) {
  char16_t field[5] = {u'x', u'x', u'x', u'x', u'x'};
  copyWide("ab", field);
  EXPECT_EQ(std::u16string(field, 5), std::u16string(u"ab\0\0\0", 5));
}

TEST(WideText, OfOtherCharactersBehindTheCutChangesNothing) {
  char16_t field[4] = {u'x', u'x', u'x', u'x'};
  copyWide("abc\xc3\xa9", field);
  EXPECT_EQ(std::u16string(field, 4), std::u16string(u"abc\0", 4));
  copyWide("ab\xc3\xa9z", field);
  EXPECT_EQ(std::u16string(field, 4), std::u16string(u"ab\u00e9\0", 4));
}

TEST(WideText, KeepsTheLastCharacterForTheTerminator) {
  char16_t field[4] = {};
  copyWide("abcdef", field);
  EXPECT_EQ(std::u16string(field, 4), std::u16string(u"abc\0", 4));
}

TEST(WideText, CutsNoSurrogatePair) {
  char16_t field[4] = {u'x', u'x', u'x', u'x'};
  copyWide("ab\xf0\x9f\x8e\xac", field);
  EXPECT_EQ(std::u16string(field, 4), std::u16string(u"ab\0\0", 4));

  char16_t larger[5] = {};
  copyWide("ab\xf0\x9f\x8e\xac", larger);
  EXPECT_EQ(std::u16string(larger, 4), u"ab\U0001F3AC");
}

TEST(WideText, EndsAtAZeroByte) {
  char16_t field[5] = {u'x', u'x', u'x', u'x', u'x'};
  copyWide(std::string_view("ab\0cd", 5), field);
  EXPECT_EQ(std::u16string(field, 5), std::u16string(u"ab\0\0\0", 5));
}

TEST(WideText, IsWellFormedWhateverTheBytes) {
  auto generator = seededGenerator();
  for (int round = 0; round < 20000; ++round) {
    std::string bytes(generator() % 40, '\0');
    for (char& byte : bytes)
      byte = static_cast<char>(generator() % 3 == 0 ? generator() : 'a' + generator() % 26);
    char16_t field[16];
    copyWide(bytes, field);
    ASSERT_EQ(field[15], u'\0');
    for (std::size_t place = 0; place < 16; ++place) {
      const bool isLeading = (field[place] & 0xFC00) == 0xD800;
      const bool isTrailing = (field[place] & 0xFC00) == 0xDC00;
      if (isLeading) {
        ASSERT_EQ(field[place + 1] & 0xFC00, 0xDC00);
      }
      if (isTrailing) {
        ASSERT_TRUE(place > 0 && (field[place - 1] & 0xFC00) == 0xD800);
      }
    }
  }
}
