#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// \file
/// XML as a document of QIF 3.0 needs it.

namespace libmfx::inspection {

/// A document that is written element by element, indented, in UTF-8.
class XmlText {
 public:
  using Attributes = std::initializer_list<std::pair<std::string_view, std::string_view>>;

  void Open(std::string_view name, Attributes attributes = {});
  /// The element that was opened last.
  void Close();
  /// An element without elements inside. All that comes from outside is escaped, and what XML 1.0
  /// allows in no document is replaced.
  void Leaf(std::string_view name, std::string_view text, Attributes attributes = {});
  void Empty(std::string_view name, Attributes attributes = {});

  const std::string& Text() const { return _text; }

 private:
  void Begin(std::string_view name, Attributes attributes);

  std::string _text;
  std::vector<std::string> _open;
};

/// A text as it stands in an element, or with `is_attribute` between the quotes of an attribute.
std::string XmlEscaped(std::string_view text, bool is_attribute);

/// A number as xs:decimal, which knows no exponent and of which readers take 24 digits: nothing for
/// one of 1e15 and more, or one that is not finite.
std::optional<std::string> DecimalText(double value);

/// Whether a text is a time as "2026-01-31T23:59:59Z", of a day and an hour that exist.
bool IsUtcTime(std::string_view text);

/// A UUID (RFC 9562, version 8) of a content: the same content has the same one.
std::string UuidOf(std::string_view content);

}  // namespace libmfx::inspection
