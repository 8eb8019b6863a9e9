#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace libmfx::messages {

/// The quickest encoder that the processor has, the quickest one of 16 bytes at once, or the one
/// that every processor has. They write the same text.
enum class Base64Encoder { kQuickest, kNarrow, kPortable };

/// How many characters AppendBase64 appends for `bytes` bytes in all.
std::size_t Base64Size(std::size_t bytes, std::string_view line_end);

/// Appends the base64 form of two byte sequences, read as one without padding between them.
/// \param head at most 54 bytes
/// \param line_end stands after every 18 whole groups, which are 72 characters, and once more at
///   the end of the text
void AppendBase64(std::string& text, std::span<const unsigned char> head,
                  std::span<const unsigned char> body, std::string_view line_end,
                  Base64Encoder encoder = Base64Encoder::kQuickest);

}  // namespace libmfx::messages
