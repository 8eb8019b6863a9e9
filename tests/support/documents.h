#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

/// \file
/// Reading of the documents, for the tests that hold them to what the program does.

namespace libmfx::test {

/// A fenced block of a document.
struct Block {
  std::string language;  ///< "json" and the like; empty when the fence names none
  std::string text;
};

/// A table of a document. Cells have no space around them.
struct Table {
  std::string heading;  ///< the section in which it stands, without the marks
  std::vector<std::string> header;
  std::vector<std::vector<std::string>> rows;
};

/// A file of the project as text.
inline std::string ReadDocument(const std::filesystem::path& path) {
  std::ifstream stream(std::filesystem::path(LIBMFX_SOURCE_DIR) / path);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// The documents that tell a user what the program does, relative to the project's root, sorted.
inline std::vector<std::string> UserDocuments() {
  namespace fs = std::filesystem;
  const fs::path root = LIBMFX_SOURCE_DIR;
  std::vector<std::string> files = {"README.md"};
  for (const char* folder : {"docs", "examples"}) {
    for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
      if (entry.path().extension() != ".md") continue;
      files.push_back(entry.path().lexically_relative(root).string());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

inline std::vector<Block> BlocksOf(const std::string& text) {
  std::vector<Block> blocks;
  std::istringstream lines(text);
  bool fenced = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("```")) {
      fenced = !fenced;
      if (fenced) blocks.push_back({line.substr(3), ""});
    } else if (fenced) {
      blocks.back().text += line + "\n";
    }
  }
  return blocks;
}

/// The cells of a table's line; `\|` is a bar within a cell.
inline std::vector<std::string> CellsOf(const std::string& line) {
  std::vector<std::string> cells(1);
  for (std::size_t i = 1; i < line.size(); ++i) {
    if (line.compare(i, 2, "\\|") == 0) {
      cells.back() += line[++i];
    } else if (line[i] == '|') {
      cells.emplace_back();
    } else {
      cells.back() += line[i];
    }
  }
  cells.pop_back();
  for (std::string& cell : cells) {
    cell.erase(0, cell.find_first_not_of(' '));
    cell.erase(cell.find_last_not_of(' ') + 1);
  }
  return cells;
}

inline std::vector<Table> TablesOf(const std::string& text) {
  std::vector<Table> tables;
  std::istringstream lines(text);
  std::string heading;
  bool in_table = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("#")) heading = line.substr(line.find_first_not_of("# "));
    if (!line.starts_with("|")) {
      in_table = false;
    } else if (!in_table) {
      tables.push_back({heading, CellsOf(line), {}});
      in_table = true;
    } else if (!line.starts_with("|-")) {
      tables.back().rows.push_back(CellsOf(line));
    }
  }
  return tables;
}

/// What stands between double quotes, in order.
inline std::vector<std::string> QuotedIn(const std::string& text, char quote = '"') {
  std::vector<std::string> quoted;
  for (std::size_t start = text.find(quote); start != std::string::npos;) {
    const std::size_t end = text.find(quote, start + 1);
    if (end == std::string::npos) break;
    quoted.push_back(text.substr(start + 1, end - start - 1));
    start = text.find(quote, end + 1);
  }
  return quoted;
}

}  // namespace libmfx::test
