#pragma once

#include <stdexcept>
#include <string>

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

}  // namespace libmfx::sim
