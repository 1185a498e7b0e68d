#include "options/Failure.h"
#include "options/NameTemplate.h"

#include <gtest/gtest.h>

#include <string>

namespace host {
namespace {

std::string refusalOf(const std::string& nameTemplate) {
  try {
    checkNameTemplate(nameTemplate);
  } catch (const Failure& failure) {
    return failure.what();
  }
  return {};
}

TEST(NameTemplate, TakesItsFieldsAndAllElse) {
  for (const char* text : {usualNameTemplate, "{index} {id} {type}.{ext}", "plain", "ü"}) {
    EXPECT_EQ(refusalOf(text), "") << text;
  }
}

TEST(NameTemplate, RefusesWhatItCannotFill) {
  EXPECT_NE(refusalOf("{titel}.jpg").find("'titel' (did you mean title?)"), std::string::npos);
  for (const char* text : {"", "{", "}", "{title", "a}b", "{}", "{title}}", "{{title}}"}) {
    EXPECT_NE(refusalOf(text), "") << text;
  }
}

TEST(NameTemplate, StaysInTheFolder) {
  for (const char* text : {"../{id}", "{type}/{id}", "a\\b"}) EXPECT_NE(refusalOf(text), "") << text;
}

TEST(NameTemplate, PutsValuesInAsTheyAre) {
  EXPECT_EQ(filledTemplate("<{id}{id}>", [](std::string_view) { return std::string("{x}"); }), "<{x}{x}>");
}

}  // namespace
}  // namespace host
