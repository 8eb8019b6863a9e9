#pragma once

#include <iostream>
#include <streambuf>

namespace libmfx::accuracy {

/// Drops what the library prints on standard output while it lives: an answer is a line of its own.
class Quiet {
 public:
  Quiet() : _buffer(std::cout.rdbuf(nullptr)) {}
  ~Quiet() { std::cout.rdbuf(_buffer); }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

 private:
  std::streambuf* _buffer;
};

}  // namespace libmfx::accuracy
