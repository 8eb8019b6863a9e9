#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct z_stream_s;

/// \file
/// Text packed as gzip, piece by piece.

namespace libmfx::host {

/// Packs a text. The same text gives the same bytes: they name neither a file nor a time.
class GzipPacker {
 public:
  /// \throws std::bad_alloc
  GzipPacker();
  /// Takes a piece of the text, and returns the bytes that are ready by then.
  std::string Add(std::string_view text);
  /// The bytes that were left.
  std::string End();

 private:
  std::string Run(std::string_view text, int flush);

  std::unique_ptr<z_stream_s, void (*)(z_stream_s*)> _stream;
};

/// Unpacks bytes, which may be several packed texts behind one another.
class GzipUnpacker {
 public:
  /// Whether a file that begins so is packed; two bytes are enough to tell.
  static bool IsPacked(std::string_view begin);

  /// \param most bytes that all of it may unpack to
  /// \throws std::bad_alloc
  explicit GzipUnpacker(std::size_t most);
  /// Appends what the bytes unpack to.
  /// \throws CallError if they are broken or unpack to more than told
  void Add(std::string_view bytes, std::string& text);
  /// \throws CallError if the bytes ended too early
  void End() const;

 private:
  std::unique_ptr<z_stream_s, void (*)(z_stream_s*)> _stream;
  std::size_t _left;
  bool _is_whole = false;  ///< up to here, and what follows is another text
};

}  // namespace libmfx::host
