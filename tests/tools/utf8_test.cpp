#include "host/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace libmfx::host {
namespace {

TEST(Utf8Test, PlainTextIsItself) {
  EXPECT_EQ(Utf8Of(L""), "");
  EXPECT_EQ(Utf8Of(L"Nominal point \t\x7f"), "Nominal point \t\x7f");
}

TEST(Utf8Test, OtherCharactersFollowPlainOnesAndAreFollowedByThem) {
  EXPECT_EQ(Utf8Of(L"5 \x00b5m off"), "5 \xC2\xB5m off");
  EXPECT_EQ(Utf8Of(L"\x2300 8"), "\xE2\x8C\x80 8");
}

TEST(Utf8Test, PairsOfSurrogatesAreOneCharacterAndHalvesTheReplacementCharacter) {
  const std::wstring pair{L'a', static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDCCF), L'b'};
  EXPECT_EQ(Utf8Of(pair.c_str()),
            "a\xF0\x9F\x93\x8F"
            "b");
  const std::wstring high{L'a', static_cast<wchar_t>(0xD83D), L'b'};
  EXPECT_EQ(Utf8Of(high.c_str()),
            "a\xEF\xBF\xBD"
            "b");
  const std::wstring low{static_cast<wchar_t>(0xDCCF), L'b'};
  EXPECT_EQ(Utf8Of(low.c_str()),
            "\xEF\xBF\xBD"
            "b");
}

}  // namespace
}  // namespace libmfx::host
