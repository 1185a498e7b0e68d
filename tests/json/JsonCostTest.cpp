// What the values of a JSON text cost, held against what the parser takes from the heap.
#include "json/JsonAccess.h"
#include "requests/ProfileRequests.h"
#include "support/AllocatedBytes.h"
#include "support/Seed.h"

#include <gtest/gtest.h>

#include <string>

using namespace KBL;

namespace {
constexpr std::size_t mib = 1U << 20;
constexpr std::size_t anyCost = 1U << 30;
constexpr JsonForm lenient{false};

/// `item`, `count` times, between brackets.
std::string listOf(const std::string& item, std::size_t count) {
  std::string text = "[" + item;
  text.reserve(count * (item.size() + 1) + 2);
  for (std::size_t left = count - 1; left > 0; --left) (text += ',') += item;
  return text += ']';
}

/// So many bytes of empty lists, between brackets.
std::string emptyLists(std::size_t bytes) {
  std::string text = "[[]";
  text.reserve(bytes + 4);
  while (text.size() < bytes) text += ",[]";
  return text += ']';
}

/// Bytes of all texts and names in a tree; jsoncpp keeps them outside `operator new`.
std::size_t textBytes(const Json::Value& value) {
  if (value.isString()) return value.asString().size();
  std::size_t bytes = 0;
  if (value.isArray()) {
    for (const Json::Value& member : value) bytes += textBytes(member);
  } else if (value.isObject()) {
    for (const std::string& name : value.getMemberNames()) bytes += name.size() + textBytes(value[name]);
  }
  return bytes;
}

/// What the tree of a text takes: nodes and lists, with 8 bytes of the allocator's for a block of 88 at
/// least, and its texts.
std::size_t takenBy(const std::string& text) {
  Json::Value root;
  EXPECT_TRUE(parseJson("[]", lenient, root));  // makes what all readers share
  const AllocatedBytes heap;
  EXPECT_TRUE(parseJson(text, lenient, root)) << text.substr(0, 100);
  const std::size_t nodes = heap.live();
  return nodes + nodes / 11 + textBytes(root);
}

std::string randomValue(std::mt19937_64& random, int depth);

std::string randomString(std::mt19937_64& random) {
  static constexpr const char* pieces[] = {"a",    "[",       "{",  ",",  ":", "\\\"",
                                           "\\\\", "\\u20ac", "/*", "//", " ", "9"};
  std::string text = "\"";
  for (std::size_t left = random() % 12; left > 0; --left) text += pieces[random() % std::size(pieces)];
  return text + "\"";
}

std::string randomMembers(std::mt19937_64& random, int depth, bool named) {
  std::string text;
  const std::size_t count = random() % 6;
  for (std::size_t number = 0; number < count; ++number) {
    if (number > 0) text += random() % 2 == 0 ? "," : " , // note \"\n ";
    if (named) text += "\"" + std::to_string(number) + "\": ";
    text += randomValue(random, depth - 1);
  }
  return text;
}

std::string randomValue(std::mt19937_64& random, int depth) {
  switch (random() % (depth > 0 ? 6 : 4)) {
    case 0:
      return "null";
    case 1:
      return "-1.5e3";
    case 2:
      return "true";
    case 3:
      return randomString(random);
    case 4:
      return "[" + randomMembers(random, depth, false) + "]";
    default:
      return "{" + randomMembers(random, depth, true) + "}";
  }
}
}  // namespace

TEST(JsonCost, IsNeverBelowWhatTheTreeTakesAndAtMostTwiceThat) {
  const std::string nested = std::string(900, '[') + std::string(900, ']');
  for (const std::string& item :
       {std::string("1"), std::string("1.5"), std::string("true"), std::string("[]"), std::string("{}"),
        std::string("\"\""), std::string("\"abcdefghijklmnopqrstuvwxyz\""), std::string("[[1]]"),
        std::string(R"({"":1})"), std::string(R"({"name":{},"x":"y"})"), nested}) {
    const std::string text = listOf(item, 200);
    const std::size_t taken = takenBy(text);
    EXPECT_GE(jsonTreeCost(text, anyCost), taken) << item.substr(0, 40);
    EXPECT_LE(jsonTreeCost(text, anyCost), 2 * taken) << item.substr(0, 40);
  }
}

TEST(JsonCost, CountsEachKindOfValue) {
  EXPECT_EQ(jsonTreeCost("", anyCost), 0U);
  EXPECT_EQ(jsonTreeCost(" \t\r\n", anyCost), 0U);
  EXPECT_EQ(jsonTreeCost("12", anyCost), 96U);
  EXPECT_EQ(jsonTreeCost("[1,2]", anyCost), 160U + 2 * 96);
  EXPECT_EQ(jsonTreeCost("\"ab\"", anyCost), 128U + 4);
  EXPECT_EQ(jsonTreeCost("{\"ab\":1}", anyCost), 160U + (32 + 4) + 96);
  EXPECT_EQ(jsonTreeCost("{\"ab\" /* name */ : 1}", anyCost), 160U + (32 + 4) + 96);
}

TEST(JsonCost, NothingHidesValuesFromTheCount) {
  const std::string values = listOf("[]", 100);
  const std::size_t cost = jsonTreeCost(values, anyCost);
  for (const char* const before : {"/*\"*/", "//\"\n", "//\"\r", "/**/", "/*/\"*/", "/* * / \" **/",
                                   "\"\\\\\",", "\"\\\"\",", "\"a\":", "::::::", "\xEF\xBB\xBF"}) {
    EXPECT_GE(jsonTreeCost(before + values, anyCost), cost) << before;
  }
  EXPECT_GE(jsonTreeCost(values + "::::::", anyCost), cost);
}

TEST(JsonCost, CountsNothingWithinTextsAndComments) {
  EXPECT_EQ(jsonTreeCost("/*[[[[*/ //[[[[\n1", anyCost), 96U);
  EXPECT_EQ(jsonTreeCost(R"("[{,1\"[{")", anyCost), 128U + 10);
}

TEST(JsonCost, EndsAtTheEndOfBrokenText) {
  for (const char* const text :
       {"\"", "\"\\", "\"a\\\"", "/", "/*", "/*/", "//", "1/", "-", "{\"a\"", "{\"a\":"}) {
    EXPECT_LE(jsonTreeCost(text, anyCost), 1000U) << text;
  }
}

TEST(JsonCost, TheCountEndsBehindItsLimit) {
  EXPECT_LE(jsonTreeCost(listOf("[]", 100000), 1000), 1000U + 160);
}

TEST(JsonCost, IsHeldAgainstTheLimitWhereTheTextIsLongEnoughForIt) {
  const std::string nested(100, '[');
  const std::size_t cost = jsonTreeCost(nested, anyCost);
  EXPECT_EQ(cost, 100U * 160);  // no byte costs more
  EXPECT_TRUE(costsMoreThan(cost - 1, nested));
  EXPECT_FALSE(costsMoreThan(cost, nested));
  EXPECT_FALSE(costsMoreThan(cost, std::string(500, ' ')));
  EXPECT_FALSE(costsMoreThan(0, ""));
  EXPECT_TRUE(costsMoreThan(95, "1"));
  EXPECT_TRUE(costsMoreThan(0, "1"));
}

TEST(JsonCost, NoTextCostsMoreThanItsBytesInBrackets) {
  for (const char* const text :
       {"\"\"", "\"", "1", "{}", "{\"\":1}", "[1,\"\"]", "1\"\"1\"\"", "[[]]", "{\"\":[]}"}) {
    EXPECT_LE(jsonTreeCost(text, anyCost), std::string(text).size() * 160) << text;
  }
}

TEST(JsonCost, RandomTreesTakeNoMoreThanTheirCost) {
  std::mt19937_64 random = seededGenerator();
  for (int round = 0; round < 500; ++round) {
    const std::string text = "[" + randomMembers(random, 6, false) + "]";
    EXPECT_GE(jsonTreeCost(text, anyCost), takenBy(text)) << text;
  }
}

TEST(JsonCost, ATextWhoseValuesTakeMoreThan64MibIsNotParsed) {
  const std::string dear = listOf("[]", 64 * mib / 160 + 1);
  Json::Value root;
  {
    const AllocatedBytes heap;
    EXPECT_EQ(readJson(dear, mediaPageForm, root), JsonOutcome::tooLarge);
    EXPECT_LT(heap.peak(), 1000U);
  }
  EXPECT_TRUE(root.isNull());
  EXPECT_EQ(readJson(listOf("[]", 64 * mib / 160 - 10), mediaPageForm, root), JsonOutcome::good);
}

TEST(JsonCost, DeepListsOfAllowedLengthAreCountedToo) {
  const std::string nested = std::string(900, '[') + std::string(900, ']');
  const std::string dear = listOf(nested, mib / (nested.size() + 1) - 1);
  ASSERT_LE(dear.size(), mib);
  Json::Value root;
  EXPECT_EQ(readJson(dear, accountReplyForm, root), JsonOutcome::tooLarge);
}

TEST(JsonCost, ABodyOf64MibOfEmptyListsCostsAReplyNoTree) {
  const std::string body = emptyLists(64 * mib);
  BsExternlMediaAuthYoutubeUserInfoRequest request;
  Json::Value root;
  std::string message;
  int code = 0;
  const AllocatedBytes heap;

  EXPECT_EQ(request.checkResponseValid(body, root, message, code), 0);

  EXPECT_EQ(code, ErrorCode::replyNotRead);
  EXPECT_LT(heap.peak(), 64U << 10);
}
