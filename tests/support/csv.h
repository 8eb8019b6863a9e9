#pragma once

#include <charconv>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

/// \file
/// Reference tables of the tests: comma separated, one line of column names first.

namespace libmfx::tests {

/// A table with the text of every cell.
class CsvTable {
 public:
  /// \param path below tests/data
  explicit CsvTable(const std::string& path) {
    std::ifstream file(LIBMFX_TEST_DATA "/" + path);
    if (!file) throw std::runtime_error("no reference data at " + path);
    std::string line;
    std::getline(file, line);
    _names = Split(line);
    while (std::getline(file, line)) {
      if (!line.empty()) _rows.push_back(Split(line));
    }
  }

  std::size_t rows() const { return _rows.size(); }
  const std::string& Text(std::size_t row, const std::string& column) const {
    return _rows.at(row).at(Index(column));
  }
  double Number(std::size_t row, const std::string& column) const {
    const std::string& text = Text(row, column);
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
      throw std::runtime_error("not a number: " + text);
    }
    return value;
  }

 private:
  static std::vector<std::string> Split(const std::string& line) {
    std::vector<std::string> cells(1);
    for (const char c : line) {
      if (c == ',') {
        cells.emplace_back();
      } else if (c != '\r') {
        cells.back() += c;
      }
    }
    return cells;
  }
  std::size_t Index(const std::string& column) const {
    for (std::size_t i = 0; i < _names.size(); ++i) {
      if (_names[i] == column) return i;
    }
    throw std::runtime_error("no column " + column);
  }

  std::vector<std::string> _names;
  std::vector<std::vector<std::string>> _rows;
};

}  // namespace libmfx::tests
