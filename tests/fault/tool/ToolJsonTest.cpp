// What the tool prints with --json.

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

#include "tools/fsys/Json.h"

namespace {

std::string printed(const Json& json, void (Json::*print)(FILE*) const = &Json::print) {
  char* text = nullptr;
  size_t size = 0;
  FILE* to = open_memstream(&text, &size);
  (json.*print)(to);
  std::fclose(to);
  std::string result(text, size);
  std::free(text);
  return result;
}

TEST(ToolJsonTest, AnObjectKeepsTheOrderOfItsKeysAndOneValueForEach) {
  Json json;
  json["b"] = 1;
  json["a"]["x"] = uint64_t{18446744073709551615u};
  json["a"]["y"] = -3;
  json["b"] = "again";
  EXPECT_EQ(printed(json),
            "{\n  \"b\": \"again\",\n  \"a\": {\n    \"x\": 18446744073709551615,\n    \"y\": -3\n"
            "  }\n}");
}

TEST(ToolJsonTest, AnObjectCanStandOnOneLineWhateverIsInIt) {
  Json json;
  json["a"]["x"] = "line\nfeed";
  json["none"] = Json::array();
  json["some"].push_back(1);
  json["some"].push_back(Json());
  EXPECT_EQ(printed(json, &Json::printOnALine),
            "{\"a\": {\"x\": \"line\\nfeed\"}, \"none\": [], \"some\": [1, null]}");
}

TEST(ToolJsonTest, AListHasItsValuesInOrder) {
  Json json;
  json["none"] = Json::array();
  json["some"].push_back(true);
  json["some"].push_back(nullptr);
  EXPECT_EQ(printed(json), "{\n  \"none\": [],\n  \"some\": [\n    true,\n    null\n  ]\n}");
}

TEST(ToolJsonTest, AFractionIsTheShortestTextThatIsItAgain) {
  EXPECT_EQ(printed(0.1), "0.1");
  EXPECT_EQ(printed(3.0), "3.0");
  EXPECT_EQ(printed(1e300), "1e+300");
  EXPECT_EQ(printed(std::numeric_limits<double>::infinity()), "null");
}

TEST(ToolJsonTest, ATextIsEscapedAndBytesThatAreNoUtf8AreReplaced) {
  EXPECT_EQ(printed("a\"b\\c\n\t\x01\x7F"), "\"a\\\"b\\\\c\\n\\t\\u0001\x7F\"");
  EXPECT_EQ(printed("gr\xC3\xBC\xC3\x9F \xFF\xC3"),
            "\"gr\xC3\xBC\xC3\x9F \xEF\xBF\xBD\xEF\xBF\xBD\"");
  EXPECT_EQ(printed(std::string("\0x", 2)), "\"\\u0000x\"");
}

}  // namespace
