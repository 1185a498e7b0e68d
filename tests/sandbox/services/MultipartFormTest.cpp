#include "sandbox/services/MultipartForm.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using sandbox::MultipartForm;

struct Read {
  bool whole = false;
  std::vector<std::string> names;
  std::vector<std::string> contents;
};

Read readInPieces(const std::string& body, std::size_t size) {
  Read read;
  MultipartForm form(
      "b",
      [&](const MultipartForm::Field& field) {
        read.names.push_back(field.name);
        read.contents.emplace_back();
        return true;
      },
      [&](const char* bytes, std::size_t count) {
        read.contents.back().append(bytes, count);
        return true;
      });
  bool sound = true;
  for (std::size_t at = 0; sound && at < body.size(); at += size) {
    sound = form.take(body.data() + at, std::min(size, body.size() - at));
  }
  read.whole = sound && form.ended();
  return read;
}

TEST(MultipartForm, FieldsAreTheSameInPiecesOfAnySize) {
  const std::string body =
      "--b\r\nContent-Disposition: form-data; name=\"one\"\r\n\r\n\r\n-\r\n--\r\n"
      "\r\n--b\r\nX: y\r\ncontent-disposition: Form-Data; filename=\"name=x\"; name=two\r\n\r\n"
      "\r\n--b--\r\nepilogue";

  for (std::size_t size = 1; size <= body.size(); ++size) {
    const Read read = readInPieces(body, size);
    EXPECT_TRUE(read.whole) << size;
    EXPECT_EQ(read.names, (std::vector<std::string>{"one", "two"})) << size;
    EXPECT_EQ(read.contents, (std::vector<std::string>{"\r\n-\r\n--\r\n", ""})) << size;
  }
}

TEST(MultipartForm, EveryCutOffFormIsNoForm) {
  const std::string body = "--b\r\nContent-Disposition: form-data; name=\"one\"\r\n\r\nbytes\r\n--b--";

  ASSERT_TRUE(readInPieces(body, 1).whole);
  for (std::size_t length = 0; length < body.size(); ++length) {
    EXPECT_FALSE(readInPieces(body.substr(0, length), 7).whole) << length;
  }
}

TEST(MultipartForm, DelimiterEndsWithALineOrTwoHyphens) {
  EXPECT_FALSE(readInPieces("--bx\r\nContent-Disposition: form-data; name=o\r\n\r\n\r\n--b--", 100).whole);
  EXPECT_TRUE(readInPieces("--b--", 100).whole);
}

TEST(MultipartForm, RefusedFieldEndsIt) {
  MultipartForm form(
      "b", [](const MultipartForm::Field&) { return false; }, [](const char*, std::size_t) { return true; });
  const std::string body = "--b\r\nContent-Disposition: form-data; name=o\r\n\r\nx\r\n--b--";

  EXPECT_FALSE(form.take(body.data(), body.size()));
  EXPECT_FALSE(form.take(body.data(), body.size()));
  EXPECT_FALSE(form.ended());
}

}  // namespace
