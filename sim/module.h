#pragma once

#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

/// \file
/// Parts of the program that few calls need, and whose packages take longer to load than all the
/// rest: they are loaded when they are asked for.

namespace libmfx::sim {

/// A module that is not there or cannot be loaded; the text names it and tells why.
class ModuleError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What a module offers: the value of the only function that it exports, `mfx_module`. It is
/// looked for along the run path of the program, as its shared libraries are, and stays loaded.
/// \param name "mesh" for libmfx-mesh-VERSION.so
/// \throws ModuleError
const void* LoadModule(const std::string& name);

/// Does in a module what may throw. What a module throws is caught in it: the program may hold a
/// C++ runtime of its own, and an exception of one runtime is not another's to catch.
/// \param work void()
/// \returns what was thrown, in words; empty: nothing
template <typename Work>
std::string WhatFails(Work&& work) noexcept {
  try {
    std::forward<Work>(work)();
    return {};
  } catch (const std::bad_alloc&) {
    return "takes more memory than there is";
  } catch (const std::exception& error) {
    const std::string told = error.what();
    return told.empty() ? "failed" : told;
  } catch (...) {
    return "failed";
  }
}

}  // namespace libmfx::sim
