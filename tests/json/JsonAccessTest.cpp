#include "json/JsonAccess.h"
#include "support/Seed.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

using namespace KBL;

namespace {
constexpr JsonForm lenient{false};
constexpr JsonForm strict{true};
constexpr int notRead = 42;

Json::Value parsed(const std::string& text) {
  Json::Value root;
  EXPECT_TRUE(parseJson(text, lenient, root)) << text;
  return root;
}

bool isJson(const std::string& text, const JsonForm& form = lenient) {
  Json::Value root("left over");
  const bool good = parseJson(text, form, root);
  if (!good) {
    EXPECT_TRUE(root.isNull());
  }
  return good;
}
}  // namespace

TEST(JsonAccess, ReadsMembersOfTheirType) {
  const Json::Value root = parsed(R"({"text":"t","int":-7,"big":5000000000,"zero":0})");
  EXPECT_EQ(jsonText(root, "text"), "t");
  EXPECT_EQ(jsonInt(root, "int"), -7);
  EXPECT_EQ(jsonInt64(root, "big"), 5000000000);
  EXPECT_EQ(jsonInt(root, "zero", 5), 0);
}

TEST(JsonAccess, AWrongTypeReadsLikeAMissingMember) {
  const Json::Value root =
      parsed(R"({"n":7,"s":"7","o":{},"a":[1],"null":null,"b":true,"f":1.5,"big":5000000000,"e":1e300})");
  for (const char* const name : {"n", "o", "a", "null", "b", "f", "nothing"}) {
    EXPECT_EQ(jsonText(root, name), "") << name;
  }
  for (const char* const name : {"s", "o", "a", "null", "b", "f", "big", "e", "nothing"}) {
    EXPECT_EQ(jsonInt(root, name, 42), 42) << name;
  }
  for (const char* const name : {"s", "o", "a", "null", "b", "f", "e", "nothing"}) {
    EXPECT_EQ(jsonInt64(root, name, 42), 42) << name;
  }
}

TEST(JsonAccess, ACodeIsCutToItsRangeAndNeverTurnsIntoSuccess) {
  const Json::Value root =
      parsed(R"({"n":-7,"big":5000000000,"low":-5000000000,"e":1e300,"whole":7.0,"zero":0})");
  EXPECT_EQ(jsonCode(root, {"n"}), -7);
  EXPECT_EQ(jsonCode(root, {"big"}), std::numeric_limits<int>::max());
  EXPECT_EQ(jsonCode(root, {"low"}), std::numeric_limits<int>::min());
  EXPECT_EQ(jsonCode(root, {"e"}), std::numeric_limits<int>::max());
  EXPECT_EQ(jsonCode(root, {"whole"}), 7);
  EXPECT_EQ(jsonCode(root, {"zero"}), 0);
}

TEST(JsonAccess, ACodeThatIsMissingOrNullReadsAsSuccess) {
  for (const char* const text :
       {"{}", "null", R"({"data":null})", R"({"data":{}})", R"({"data":{"code":null}})"}) {
    EXPECT_EQ(jsonCode(parsed(text), {"data", "code"}), 0) << text;
  }
}

TEST(JsonAccess, ACodeOfAWrongTypeIsNoSuccess) {
  for (const char* const value :
       {"\"0\"", "\"x\"", "0.4", "-0.4", "2.9", "true", "false", "[]", "[0]", "{}"}) {
    const Json::Value root = parsed(std::string(R"({"data":{"code":)") + value + "}}");
    EXPECT_EQ(jsonCode(root, {"data", "code"}).value_or(notRead), notRead) << value;
  }
}

TEST(JsonAccess, ACodeWithinAWrongTypeIsNoSuccess) {
  for (const char* const text :
       {"[]", "7", "\"x\"", "true", R"({"data":[]})", R"({"data":"x"})", R"({"data":0})"}) {
    EXPECT_EQ(jsonCode(parsed(text), {"data", "code"}).value_or(notRead), notRead) << text;
  }
}

TEST(JsonAccess, AnIdIsTextOrAWholeNumber) {
  const Json::Value root = parsed(
      R"({"t":"x","empty":"","n":-7,"big":18446744073709551615,"f":1.5,"e":1e3,"null":null,"b":true,"a":[1]})");
  EXPECT_EQ(jsonId(root, "t"), "x");
  EXPECT_EQ(jsonId(root, "empty"), "");
  EXPECT_EQ(jsonId(root, "n"), "-7");
  EXPECT_EQ(jsonId(root, "big"), "18446744073709551615");
  for (const char* const name : {"f", "e", "null", "b", "a", "nothing"}) {
    EXPECT_EQ(jsonId(root, name), std::nullopt) << name;
  }
}

TEST(JsonAccess, MembersOfWhatIsNoObjectAreMissing) {
  for (const char* const text : {"[1]", "\"text\"", "7", "null", "true"}) {
    EXPECT_TRUE(jsonMember(parsed(text), "code").isNull()) << text;
  }
}

TEST(JsonAccess, StrictModeTakesNoScalarRootAndNoComments) {
  EXPECT_TRUE(isJson("\"text\""));
  EXPECT_FALSE(isJson("\"text\"", strict));
  EXPECT_TRUE(isJson("{\"a\":1} // note"));
  EXPECT_TRUE(isJson("/* note */ {\"a\":1}"));
  EXPECT_FALSE(isJson("/* note */ {\"a\":1}", strict));
  EXPECT_TRUE(isJson("{}", strict));
  EXPECT_TRUE(isJson("[]", strict));
}

TEST(JsonAccess, StrictModeTakesNothingBehindTheDocument) {
  for (const char* const behind : {"x", "{}", "[]", "1", "\"", ",", "}", "]", "// note", "/* note */"}) {
    EXPECT_FALSE(isJson(std::string("{\"a\":1} ") + behind, strict)) << behind;
  }
  EXPECT_TRUE(isJson("{\"a\":1} x"));
  EXPECT_TRUE(isJson(" {\"a\":1} \r\n\t ", strict));
}

TEST(JsonAccess, ATextLongerThanItsFormIsTooLarge) {
  const std::string longest = "\"" + std::string((1U << 20) - 2, 'x') + "\"";
  Json::Value root;
  EXPECT_EQ(readJson(longest, accountReplyForm, root), JsonOutcome::good);
  EXPECT_EQ(readJson(longest + " ", accountReplyForm, root), JsonOutcome::tooLarge);
  EXPECT_TRUE(root.isNull());
  EXPECT_EQ(readJson("[" + longest, platformReplyForm, root), JsonOutcome::tooLarge);
  EXPECT_EQ(readJson("[" + longest, mediaPageForm, root), JsonOutcome::notJson);

  const std::string longestPage = "\"" + std::string((16U << 20) - 2, 'x') + "\"";
  EXPECT_EQ(readJson(longestPage, mediaPageForm, root), JsonOutcome::good);
  EXPECT_EQ(readJson(longestPage + " ", mediaPageForm, root), JsonOutcome::tooLarge);
}

TEST(JsonAccess, BrokenTextIsNoJson) {
  for (const char* const text :
       {"", " ", "{", "{\"a\":}", "[1,]", "{\"a\":1,}", "<html>", "{'a':1}", "NaN"}) {
    EXPECT_FALSE(isJson(text)) << text;
  }
}

TEST(JsonAccess, DeepNestingIsNoJsonAndHarmsNothing) {
  for (const std::size_t depth : {1001U, 100000U, 1000000U}) {
    EXPECT_FALSE(isJson(std::string(depth, '[') + std::string(depth, ']')));
    EXPECT_FALSE(isJson(std::string(depth, '['), strict));
  }
  EXPECT_TRUE(isJson(std::string(500, '[') + std::string(500, ']')));
}

TEST(JsonAccess, NumbersBeyondEveryRangeDoNotThrow) {
  for (const char* const number :
       {"1e400", "-1e400", "99999999999999999999999999", "-99999999999999999999"}) {
    Json::Value root;
    if (!parseJson(std::string("{\"n\":") + number + "}", lenient, root)) continue;
    EXPECT_EQ(jsonInt(root, "n", 3), 3) << number;
    EXPECT_EQ(jsonInt64(root, "n", 3), 3) << number;
  }
}

TEST(JsonAccess, CompactTextEndsInALineFeed) {
  Json::Value value(Json::objectValue);
  value["b"] = 1;
  value["a"] = "x\n\"";
  value["list"].append("one");
  EXPECT_EQ(compactJson(value), "{\"a\":\"x\\n\\\"\",\"b\":1,\"list\":[\"one\"]}\n");
  EXPECT_EQ(compactJson(Json::Value()), "null\n");
}

TEST(JsonAccess, ATextOfADocumentIsWhatTheCompactWriterMakesOfIt) {
  std::vector<std::string> texts = {"",         "plain text",       "a\"b\\c/d",
                                    "\xC3\xA9", "\xF0\x9F\x98\x80", "cut \xE4\xB8"};
  for (int letter = 0; letter < 256; ++letter) {
    texts.emplace_back(1, static_cast<char>(letter));
    texts.push_back("before" + texts.back() + "behind");
  }
  for (const std::string& text : texts) {
    std::string document = "[";
    appendJsonText(document, text);
    EXPECT_EQ(document + "\n", "[" + compactJson(text));
  }
}

TEST(JsonAccess, RandomBytesNeitherThrowNorHang) {
  std::mt19937_64 random = seededGenerator();
  const std::string alphabet = "{}[]\",:0123456789.eE-+ntrufalsx\\ \n\xff";
  for (int round = 0; round < 2000; ++round) {
    std::string text;
    for (std::size_t left = random() % 60; left > 0; --left) text += alphabet[random() % alphabet.size()];
    Json::Value root;
    if (parseJson(text, lenient, root)) {
      (void)jsonText(root, "a");
      (void)jsonInt(root, "0");
      (void)compactJson(root);
    }
  }
}
