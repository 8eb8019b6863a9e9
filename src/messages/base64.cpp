#include "messages/base64.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "data_structures/processor.h"

#ifdef LIBMFX_WIDE_REGISTERS
#include <immintrin.h>
#endif

namespace libmfx::messages {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kLineBytes = 54;  // 18 groups of 3
constexpr std::size_t kLineCharacters = 72;
constexpr std::size_t kLinesAtOnce = 64;

struct Pair {
  char first;
  char second;
};

/// The two characters of every 12 bits. With it a group costs two look-ups, which is what keeps the
/// binary form of a result near the speed of copying it.
constexpr std::array<Pair, 4096> MakePairs() {
  std::array<Pair, 4096> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i) pairs[i] = {kAlphabet[i >> 6], kAlphabet[i & 63]};
  return pairs;
}
constexpr std::array<Pair, 4096> kPairs = MakePairs();

/// Writes the four characters of three bytes.
inline void EncodeGroup(const unsigned char* bytes, char* out) {
  const std::uint32_t bits = static_cast<std::uint32_t>(bytes[0]) << 16 |
                             static_cast<std::uint32_t>(bytes[1]) << 8 | bytes[2];
  std::memcpy(out, &kPairs[bits >> 12], 2);
  std::memcpy(out + 2, &kPairs[bits & 4095], 2);
}

/// Writes the 72 characters of the 54 bytes of one line.
using LineEncoder = void (*)(const unsigned char* bytes, char* out);

void EncodeLine(const unsigned char* bytes, char* out) {
  for (std::size_t g = 0; g < kLineBytes / 3; ++g) EncodeGroup(bytes + 3 * g, out + 4 * g);
}

#ifdef LIBMFX_WIDE_REGISTERS
/// Where the two bytes of each half of a group come from, counted from the first of twelve.
inline __m128i OrderOfGroups() {
  return _mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
}

/// What separates a value from its character: of 26 to 51, of the ten digits, of "+" and "/", and
/// of 0 to 25.
inline __m128i OffsetsOfRanges() {
  constexpr char kDigit = '0' - 52;
  return _mm_setr_epi8('a' - 26, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit,
                       kDigit, kDigit, '+' - 62, '/' - 63, 'A', 0, 0);
}

/// The sixteen characters of twelve bytes, which `order` picks out of the sixteen at `bytes`.
///
/// The bytes of each group are spread so that every 6 bits come to lie inside one 16-bit half; two
/// multiplications by powers of two move them to the bottom of their byte. A second look-up adds
/// what separates a value from its character, which is constant over five ranges of values. After
/// W. Mula and D. Lemire, "Faster Base64 Encoding and Decoding Using AVX2 Instructions", 2018.
__attribute__((target("ssse3"))) inline __m128i EncodeTwelve(const unsigned char* bytes,
                                                             __m128i order) {
  const __m128i loaded = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  const __m128i spread = _mm_shuffle_epi8(loaded, order);
  const __m128i outer = _mm_mulhi_epu16(_mm_and_si128(spread, _mm_set1_epi32(0x0fc0fc00)),
                                        _mm_set1_epi32(0x04000040));
  const __m128i inner = _mm_mullo_epi16(_mm_and_si128(spread, _mm_set1_epi32(0x003f03f0)),
                                        _mm_set1_epi32(0x01000010));
  const __m128i values = _mm_or_si128(outer, inner);
  // Range of a value: 13 for 0 to 25, 0 for 26 to 51, and 1 to 12 for the digits, "+" and "/".
  const __m128i capital = _mm_cmpgt_epi8(_mm_set1_epi8(26), values);
  const __m128i range = _mm_or_si128(_mm_subs_epu8(values, _mm_set1_epi8(51)),
                                     _mm_and_si128(capital, _mm_set1_epi8(13)));
  return _mm_add_epi8(values, _mm_shuffle_epi8(OffsetsOfRanges(), range));
}

/// The same line, twelve bytes at a time. The last load ends with the line, so that nothing past it
/// is read, and overlaps the one before.
__attribute__((target("ssse3"))) void EncodeLineByShuffles(const unsigned char* bytes, char* out) {
  const __m128i first = OrderOfGroups();
  const __m128i last = _mm_add_epi8(first, _mm_set1_epi8(4));
  for (std::ptrdiff_t i = 0; i < 4; ++i) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16 * i), EncodeTwelve(bytes + 12 * i, first));
  }
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 56), EncodeTwelve(bytes + 38, last));
}

/// As EncodeTwelve, of 24 bytes.
__attribute__((target("avx2"))) inline __m256i EncodeTwentyFour(const unsigned char* bytes,
                                                                __m256i order) {
  const __m256i loaded = _mm256_inserti128_si256(
      _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes))),
      _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 12)), 1);
  const __m256i spread = _mm256_shuffle_epi8(loaded, order);
  const __m256i outer = _mm256_mulhi_epu16(_mm256_and_si256(spread, _mm256_set1_epi32(0x0fc0fc00)),
                                           _mm256_set1_epi32(0x04000040));
  const __m256i inner = _mm256_mullo_epi16(_mm256_and_si256(spread, _mm256_set1_epi32(0x003f03f0)),
                                           _mm256_set1_epi32(0x01000010));
  const __m256i values = _mm256_or_si256(outer, inner);
  const __m256i capital = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), values);
  const __m256i range = _mm256_or_si256(_mm256_subs_epu8(values, _mm256_set1_epi8(51)),
                                        _mm256_and_si256(capital, _mm256_set1_epi8(13)));
  const __m256i offsets = _mm256_broadcastsi128_si256(OffsetsOfRanges());
  return _mm256_add_epi8(values, _mm256_shuffle_epi8(offsets, range));
}

/// The same line in three steps instead of five.
__attribute__((target("avx2"))) void EncodeLineByWideShuffles(const unsigned char* bytes,
                                                              char* out) {
  const __m128i first = OrderOfGroups();
  const __m256i both = _mm256_broadcastsi128_si256(first);
  for (std::ptrdiff_t i = 0; i < 2; ++i) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 32 * i),
                        EncodeTwentyFour(bytes + 24 * i, both));
  }
  const __m128i last = _mm_add_epi8(first, _mm_set1_epi8(4));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 56), EncodeTwelve(bytes + 38, last));
}

LineEncoder BestLineEncoder(Base64Encoder limit) {
  const data_structures::Processor& processor = data_structures::ThisProcessor();
  if (limit == Base64Encoder::kQuickest && processor.has_avx2) return EncodeLineByWideShuffles;
  const bool shuffles = limit != Base64Encoder::kPortable && processor.has_ssse3;
  return shuffles ? EncodeLineByShuffles : EncodeLine;
}
#else
LineEncoder BestLineEncoder(Base64Encoder) { return EncodeLine; }
#endif

/// The last, shorter line, closed with "=".
void AppendRest(std::string& text, std::span<const unsigned char> rest) {
  for (std::size_t i = 0; i < rest.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, rest.size() - i);
    unsigned char bytes[3] = {};
    std::memcpy(bytes, &rest[i], count);
    char group[4];
    EncodeGroup(bytes, group);
    for (std::size_t k = count + 1; k < 4; ++k) group[k] = '=';
    text.append(group, 4);
  }
}

}  // namespace

std::size_t Base64Size(std::size_t bytes, std::string_view line_end) {
  return (bytes + 2) / 3 * 4 + (bytes / kLineBytes + 1) * line_end.size();
}

void AppendBase64(std::string& text, std::span<const unsigned char> head,
                  std::span<const unsigned char> body, std::string_view line_end,
                  Base64Encoder encoder) {
  const std::size_t total = head.size() + body.size();
  const std::size_t lines = total / kLineBytes;

  unsigned char first[kLineBytes];
  const std::size_t of_body = std::min(kLineBytes - head.size(), body.size());
  std::copy(head.begin(), head.end(), first);
  std::copy_n(body.begin(), of_body, first + head.size());
  if (lines == 0) {
    AppendRest(text, std::span(first, total));
    text.append(line_end);
    return;
  }

  const LineEncoder encode = BestLineEncoder(encoder);
  const auto write_line = [&](const unsigned char* bytes, char* out) {
    encode(bytes, out);
    // Two characters are one store; a copy of any length is a call, a tenth of all the time.
    if (line_end.size() == 2) {
      std::memcpy(out + kLineCharacters, line_end.data(), 2);
    } else {
      line_end.copy(out + kLineCharacters, line_end.size());
    }
  };
  const std::size_t stride = kLineCharacters + line_end.size();
  text.resize(text.size() + stride);
  write_line(first, text.data() + text.size() - stride);
  body = body.subspan(of_body);
  while (body.size() >= kLineBytes) {
    // Room is made a few lines at a time, so that it is still in the cache when it is written to.
    const std::size_t count = std::min(kLinesAtOnce, body.size() / kLineBytes);
    text.resize(text.size() + count * stride);
    char* const out = text.data() + text.size() - count * stride;
    for (std::size_t i = 0; i < count; ++i) {
      write_line(body.data() + i * kLineBytes, out + i * stride);
    }
    body = body.subspan(count * kLineBytes);
  }
  AppendRest(text, body);
  text.append(line_end);
}

}  // namespace libmfx::messages
