#include "messages/base64.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using libmfx::messages::AppendBase64;
using libmfx::messages::Base64Encoder;
using libmfx::messages::Base64Size;
using Bytes = std::vector<unsigned char>;

constexpr Base64Encoder kEncoders[] = {Base64Encoder::kQuickest, Base64Encoder::kNarrow,
                                       Base64Encoder::kPortable};

/// The textbook form, one group at a time. A padded group ends the text, not its line.
std::string Reference(const Bytes& bytes, const std::string& line_end) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  std::size_t groups = 0;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const auto at = [&](std::size_t k) { return k < bytes.size() ? bytes[k] : 0u; };
    const unsigned bits = at(i) << 16 | at(i + 1) << 8 | at(i + 2);
    text += alphabet[bits >> 18];
    text += alphabet[bits >> 12 & 63];
    text += i + 1 < bytes.size() ? alphabet[bits >> 6 & 63] : '=';
    text += i + 2 < bytes.size() ? alphabet[bits & 63] : '=';
    if (++groups % 18 == 0 && i + 2 < bytes.size()) text += line_end;
  }
  return text + line_end;
}

/// Bytes in which every 6-bit value stands at every place of a group.
Bytes Varied(std::size_t count) {
  Bytes bytes(count);
  unsigned state = 1;
  for (unsigned char& byte : bytes) {
    state = state * 1664525u + 1013904223u;
    byte = static_cast<unsigned char>(state >> 24);
  }
  return bytes;
}

TEST(Base64, EveryLengthAndSplitIsAsTheTextbookHasIt) {
  for (const std::size_t head_size : {0u, 8u, 54u}) {
    for (std::size_t size = 0; size < 260; ++size) {
      const Bytes all = Varied(head_size + size);
      const Bytes head(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(head_size));
      const Bytes body(all.begin() + static_cast<std::ptrdiff_t>(head_size), all.end());
      for (const auto encoder : kEncoders) {
        std::string text = "before:";
        AppendBase64(text, head, body, "\n", encoder);
        ASSERT_EQ(text, "before:" + Reference(all, "\n")) << head_size << " + " << size;
        EXPECT_EQ(text.size(), 7 + Base64Size(all.size(), "\n"));
      }
    }
  }
}

TEST(Base64, LongTextsAndOtherLineEnds) {
  const Bytes bytes = Varied(54 * 1000 + 7);
  for (const auto encoder : kEncoders) {
    std::string text;
    AppendBase64(text, {}, bytes, "\\n", encoder);
    EXPECT_EQ(text, Reference(bytes, "\\n"));
  }
}

}  // namespace
