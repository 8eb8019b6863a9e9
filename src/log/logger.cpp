#include "libmfx/log/logger.h"

#include <algorithm>
#include <locale>
#include <memory>
#include <utility>

#include "libmfx/features/feature.h"
#include "log/wide_text.h"

namespace libmfx::log {
namespace {

LogCallback g_callback = nullptr;

}  // namespace

void SetLogCallback(LogCallback callback) { g_callback = callback; }

LibMfxLogStream::LibMfxLogBuf::LibMfxLogBuf(std::string name, int level)
    : _name(std::move(name)), _level(level) {}

LibMfxLogStream::LibMfxLogBuf::~LibMfxLogBuf() {
  try {
    Close();
  } catch (...) {
    // A destructor has no writer left to tell; the text is gone either way.
  }
}

void LibMfxLogStream::LibMfxLogBuf::Close() {
  if (std::exchange(_closed, true)) return;
  sync();
}

int LibMfxLogStream::LibMfxLogBuf::sync() {
  const std::string text = str();
  str(std::string());
  if (g_callback != nullptr) {
    const std::wstring wide_name = WideText(_name);
    const std::wstring wide_text = WideText(text);
    g_callback(wide_name.c_str(), _level, wide_text.c_str());
  }
  return 0;
}

LibMfxLogStream::LibMfxLogStream(LibMfxLogBuf* buffer) : std::ostream(buffer), _buffer(buffer) {
  // Numbers in a log line read the same under every locale, and a text that cannot be converted
  // reaches the writer as an exception.
  imbue(std::locale::classic());
  exceptions(std::ios::badbit);
}

LibMfxLogStream::~LibMfxLogStream() { delete _buffer; }

LibMfxLogger& LibMfxLogger::operator=(const LibMfxLogger& other) {
  if (this == &other) return *this;
  _owner = other.Owner();
  _owner_life = other.OwnerLife();
  _took_owner = _owner != nullptr;
  _name = other._name;
  delete std::exchange(_stream, nullptr);
  return *this;
}

LibMfxLogger::~LibMfxLogger() { delete _stream; }

features::Feature* LibMfxLogger::Owner() const {
  return _took_owner && _owner_life.expired() ? _self : _owner;
}

std::weak_ptr<const void> LibMfxLogger::OwnerLife() const {
  features::Feature* const owner = Owner();
  return owner != nullptr ? owner->_life.Watch() : std::weak_ptr<const void>();
}

LibMfxLogStream& LibMfxLogger::operator[](int level) {
  const int clamped = std::clamp(level, 0, 4);
  features::Feature* const owner = Owner();
  const std::string name = owner != nullptr ? owner->FeatureName() : _name;
  // For a logger with an owner `_name` is empty, so it gets a fresh stream on every call: a line
  // left open is thereby delivered as soon as the next one begins.
  if (_stream != nullptr && _stream->buffer().level() == clamped && name == _name) return *_stream;
  const std::unique_ptr<LibMfxLogStream> old(std::exchange(_stream, nullptr));
  if (old) old->buffer().Close();
  _stream = new LibMfxLogStream(new LibMfxLogStream::LibMfxLogBuf(name, clamped));
  return *_stream;
}

void LibMfxLogger::Flush() {
  if (_stream != nullptr) _stream->flush();
}

}  // namespace libmfx::log
