#include "host/gzip.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>

#include "host/errors.h"

namespace libmfx::host {
namespace {

/// The largest window, with a gzip header and trailer around it.
constexpr int kGzip = 15 + 16;
constexpr std::size_t kChunk = std::size_t{1} << 16;

/// Hands the next piece of the input to a stream; what is left over comes with the next call.
void Feed(z_stream_s& stream, std::string_view& input) {
  const std::size_t size =
      std::min<std::size_t>(input.size(), std::numeric_limits<unsigned int>::max());
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.data()));
  stream.avail_in = static_cast<unsigned int>(size);
  input.remove_prefix(size);
}

/// Makes room for the next output of a stream at the end of a text.
void Offer(z_stream_s& stream, std::string& text) {
  text.resize(text.size() + kChunk);
  stream.next_out = reinterpret_cast<Bytef*>(text.data() + text.size() - kChunk);
  stream.avail_out = static_cast<unsigned int>(kChunk);
}

/// Takes back the room that was not used.
void Close(const z_stream_s& stream, std::string& text) {
  text.resize(text.size() - stream.avail_out);
}

}  // namespace

GzipPacker::GzipPacker()
    : _stream(new z_stream_s{}, [](z_stream_s* stream) {
        deflateEnd(stream);
        delete stream;
      }) {
  constexpr int kMemory = 8;  // the library's own choice
  if (deflateInit2(_stream.get(), Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzip, kMemory,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
}

std::string GzipPacker::Run(std::string_view text, int flush) {
  std::string packed;
  do {
    Feed(*_stream, text);
    do {
      Offer(*_stream, packed);
      deflate(_stream.get(), text.empty() ? flush : Z_NO_FLUSH);
      Close(*_stream, packed);
    } while (_stream->avail_out == 0);
  } while (!text.empty());
  return packed;
}

std::string GzipPacker::Add(std::string_view text) { return Run(text, Z_NO_FLUSH); }
std::string GzipPacker::End() { return Run({}, Z_FINISH); }

bool GzipUnpacker::IsPacked(std::string_view begin) { return begin.starts_with("\x1f\x8b"); }

GzipUnpacker::GzipUnpacker(std::size_t most)
    : _stream(new z_stream_s{},
              [](z_stream_s* stream) {
                inflateEnd(stream);
                delete stream;
              }),
      _left(most) {
  if (inflateInit2(_stream.get(), kGzip) != Z_OK) throw std::bad_alloc();
}

void GzipUnpacker::Add(std::string_view bytes, std::string& text) {
  do {
    Feed(*_stream, bytes);
    do {
      if (_is_whole && _stream->avail_in > 0) {
        inflateReset(_stream.get());
        _is_whole = false;
      }
      Offer(*_stream, text);
      const int status = inflate(_stream.get(), Z_NO_FLUSH);
      Close(*_stream, text);
      const std::size_t unpacked = kChunk - _stream->avail_out;
      if (unpacked > _left) throw CallError("it unpacks to more than 256 MiB");
      _left -= unpacked;
      if (status == Z_MEM_ERROR) throw std::bad_alloc();
      if (status == Z_STREAM_END) _is_whole = true;
      // Without room or input there is no progress, which is no error.
      if (status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR) {
        throw CallError("its gzip data are broken");
      }
    } while (_stream->avail_in > 0 || _stream->avail_out == 0);
  } while (!bytes.empty());
}

void GzipUnpacker::End() const {
  if (!_is_whole) throw CallError("its gzip data end too early");
}

}  // namespace libmfx::host
