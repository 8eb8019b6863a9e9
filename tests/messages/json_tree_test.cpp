#include "messages/json_tree.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <nlohmann/json.hpp>
#include <random>
#include <string>

#include "messages/json_reader.h"
#include "messages/request.h"

namespace libmfx::messages {
namespace {

using nlohmann::json;

/// What the tree holds, as the JSON library has it. Its numbers are doubles.
json ReadBack(const JsonNode& node) {
  if (const auto* truth = node.As<bool>()) return *truth;
  if (const auto* number = node.As<double>()) return *number;
  if (const auto* text = node.As<std::string_view>()) return *text;
  if (const auto* array = node.As<JsonArray>()) {
    json made = json::array();
    for (std::size_t i = 0; i < array->size; ++i) made.push_back(ReadBack(array->first[i]));
    return made;
  }
  if (const auto* object = node.As<JsonObject>()) {
    json made = json::object();
    for (std::size_t i = 0; i < object->size; ++i) {
      const JsonMember& member = object->first[i];
      EXPECT_EQ(object->Find(member.name), &member.node) << member.name;
      made[std::string(member.name)] = ReadBack(member.node);
    }
    EXPECT_EQ(made.size(), object->size);
    return made;
  }
  return nullptr;
}

/// The tree of a text, read back.
json TreeOf(const std::string& text) {
  const auto tree = ReadObject(text);
  EXPECT_NE(tree, nullptr) << text;
  return tree != nullptr ? ReadBack(tree->root()) : json();
}

/// Random objects with few different names, so that many occur twice, and with every kind of value.
class Texts {
 public:
  std::string Object(int depth) {
    std::string text;
    for (auto n = _bits() % 6; n > 0; --n) {
      text += (text.empty() ? "" : ",") + Name() + ':' + Value(depth);
    }
    return '{' + text + '}';
  }

 private:
  std::string Name() {
    const char* const names[] = {"\"\"", "\"a\"", "\"b\"", "\"a\\u0000\"", "\"\\ud83d\\ude00\""};
    return names[_bits() % std::size(names)];
  }
  std::string Value(int depth) {
    const char* const scalars[] = {"null",   "true", "false", "0",
                                   "-0.0",   "1e-5", "\"\"",  "18446744073709551615",
                                   "1e-400", "-7",   "\"x\"", "-9223372036854775808"};
    const auto kind = _bits() % (depth > 0 ? 4U : 2U);
    if (kind < 2) return scalars[_bits() % std::size(scalars)];
    return kind == 2 ? Object(depth - 1) : Array(depth - 1);
  }
  std::string Array(int depth) {
    std::string text;
    for (auto n = _bits() % 6; n > 0; --n) text += (text.empty() ? "" : ",") + Value(depth);
    return '[' + text + ']';
  }

  std::mt19937 _bits{11};
};

TEST(JsonTree, HoldsWhatTheTextSays) {
  Texts texts;
  for (int i = 0; i < 3'000; ++i) {
    const std::string text = texts.Object(6);
    ASSERT_EQ(TreeOf(text), json::parse(text)) << text;
  }
}

TEST(JsonTree, MendedValuesStandInIt) {
  EXPECT_EQ(TreeOf("{\"a\":[1e400,-1e999,\"\xFF\"],\"\\ud800\":{}} \xFF"),
            (json{{"a", {"1e400", "-1e999", "\uFFFD"}}, {"\uFFFD", json::object()}}));
}

TEST(JsonTree, OfEqualNamesTheLastStandsAloneWhateverStandsThere) {
  EXPECT_EQ(TreeOf(R"({"a":{"x":1,"y":2},"b":[],"a":{"x":3}})"),
            (json{{"a", {{"x", 3}}}, {"b", json::array()}}));
  EXPECT_EQ(Request(R"({"a":1,"b":2,"a":3})").root().Size(), 2U);
}

TEST(JsonTree, FindsNoNameThatIsNotThere) {
  const auto tree = ReadObject(R"({"b":1,"d":null,"d\u0000":2})");
  ASSERT_NE(tree, nullptr);
  const auto& object = *tree->root().As<JsonObject>();
  for (const char* none : {"", "a", "c", "bb", "e"}) EXPECT_EQ(object.Find(none), nullptr) << none;
  EXPECT_EQ(object.Find("d")->As<double>(), nullptr);
  EXPECT_EQ(*object.Find(std::string_view("d\0", 2))->As<double>(), 2.0);
}

TEST(JsonTree, ManyNamesAreFound) {
  std::string text;
  for (int i = 0; i < 100'000; ++i) {
    // Each name twice, in no order.
    const std::string name =
        std::to_string(std::uint64_t{48'271} * static_cast<unsigned>(i) % 50'000);
    text += (i == 0 ? "{\"" : ",\"") + name + "\":" + std::to_string(i);
  }
  const Request request(text + '}');
  ASSERT_TRUE(request.ok());
  EXPECT_EQ(request.root().Size(), 50'000U);
  for (int i = 50'000; i < 100'000; ++i) {
    const std::string name =
        std::to_string(std::uint64_t{48'271} * static_cast<unsigned>(i) % 50'000);
    ASSERT_EQ(request.root()[name].AsInt(), i);
  }
}

}  // namespace
}  // namespace libmfx::messages
