#include "messages/json_reader.h"

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>

#include "messages/mended_json.h"

namespace libmfx::messages {
namespace {

using nlohmann::json;

/// What the parser finds, in fewer kinds. Refuses a root that is no object, and what nests deeper
/// than the limit, before anything is made of it.
class ObjectEvents : public nlohmann::json_sax<json> {
 public:
  explicit ObjectEvents(int nesting) : _nesting(nesting) {}

  /// Whether the text was refused for what it is, and not for how a value is spelled.
  bool refused() const { return _refused; }

  bool null() final { return Scalar(nullptr); }
  bool boolean(bool value) final { return Scalar(value); }
  bool number_integer(number_integer_t value) final { return Scalar(value); }
  bool number_unsigned(number_unsigned_t value) final { return Scalar(value); }
  bool number_float(number_float_t value, const string_t&) final { return Scalar(value); }
  bool string(string_t& value) final { return Scalar(std::move(value)); }
  bool binary(binary_t&) final { return false; }
  bool key(string_t& name) final {
    Name(name);
    return true;
  }
  bool start_object(std::size_t) final { return Enter(json::value_t::object); }
  bool start_array(std::size_t) final { return Enter(json::value_t::array); }
  bool end_object() final { return Leave('}'); }
  bool end_array() final { return Leave(']'); }
  bool parse_error(std::size_t, const std::string&, const json::exception&) final { return false; }

 protected:
  virtual void Take(json&& scalar) = 0;
  virtual void Name(std::string& name) = 0;
  virtual void Open(json::value_t container) = 0;
  virtual void Close(char bracket) = 0;

 private:
  template <typename T>
  bool Scalar(T&& value) {
    if (_depth == 0) return Refuse();
    Take(json(std::forward<T>(value)));
    return true;
  }
  bool Enter(json::value_t container) {
    if (_depth >= _nesting || (_depth == 0 && container != json::value_t::object)) return Refuse();
    ++_depth;
    Open(container);
    return true;
  }
  bool Leave(char bracket) {
    --_depth;
    Close(bracket);
    return true;
  }
  bool Refuse() {
    _refused = true;
    return false;
  }

  int _nesting;
  int _depth = 0;
  bool _refused = false;
};

/// Builds the object in memory.
class Builder final : public ObjectEvents {
 public:
  using Made = std::unique_ptr<const JsonTree>;
  using ObjectEvents::ObjectEvents;
  Made made() && { return std::move(_tree); }

 protected:
  void Take(json&& scalar) override {
    if (scalar.is_number()) return _tree->Take(scalar.get<double>());
    if (scalar.is_boolean()) return _tree->Take(scalar.get<bool>());
    if (scalar.is_null()) return _tree->TakeNull();
    _tree->Take(scalar.get_ref<const std::string&>());
  }
  void Name(std::string& name) override { _tree->Take(name); }
  void Open(json::value_t) override { _tree->Open(); }
  void Close(char bracket) override { bracket == ']' ? _tree->CloseArray() : _tree->CloseObject(); }

 private:
  std::unique_ptr<JsonTree> _tree = std::make_unique<JsonTree>();
};

/// Writes the object as text again.
class Writer final : public ObjectEvents {
 public:
  using Made = std::string;
  using ObjectEvents::ObjectEvents;
  std::string&& made() && { return std::move(_text); }

 protected:
  void Take(json&& scalar) override {
    Separate();
    // The digits of a double are the fewest that read back as the same one.
    _text += scalar.dump();
  }
  void Name(std::string& name) override {
    Separate();
    _text += json(std::move(name)).dump();
    _text += ':';
  }
  void Open(json::value_t container) override {
    Separate();
    _text += container == json::value_t::object ? '{' : '[';
  }
  void Close(char bracket) override { _text += bracket; }

 private:
  void Separate() {
    constexpr std::string_view kNoneAfter = "{[:";
    if (!_text.empty() && kNoneAfter.find(_text.back()) == std::string_view::npos) _text += ',';
  }

  std::string _text;
};

/// A sound text is parsed once. What fails is mended and parsed again, and the second time decides.
template <typename Maker>
std::optional<typename Maker::Made> Read(std::string_view text, int nesting, bool only_blanks) {
  const auto parse = [only_blanks](std::string_view what, Maker& maker) {
    return json::sax_parse(what.begin(), what.end(), &maker, json::input_format_t::json,
                           only_blanks, !only_blanks);
  };
  Maker first(nesting);
  if (parse(text, first)) return std::move(first).made();
  if (first.refused()) return std::nullopt;
  Maker second(nesting);
  if (parse(MendedJson(text), second)) return std::move(second).made();
  return std::nullopt;
}

}  // namespace

std::unique_ptr<const JsonTree> ReadObject(std::string_view text, int nesting) {
  return Read<Builder>(text, nesting, false).value_or(nullptr);
}

}  // namespace libmfx::messages

namespace libmfx::features {

std::optional<std::string> StrictJson(std::string_view text, int nesting,
                                      REQUEST_SURROUNDINGS surroundings) {
  return messages::Read<messages::Writer>(text, nesting, surroundings == SURROUNDINGS_BLANK);
}

}  // namespace libmfx::features
