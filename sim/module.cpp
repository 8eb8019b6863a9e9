#include "sim/module.h"

#include <dlfcn.h>

namespace libmfx::sim {

const void* LoadModule(const std::string& name) {
  const std::string file = "libmfx-" + name + "-" LIBMFX_VERSION ".so";
  const auto fail = [&file] {
    const char* why = dlerror();
    throw ModuleError("the module " + file +
                      " cannot be loaded: " + (why == nullptr ? "no reason told" : why));
  };
  void* const module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) fail();
  void* const entry = dlsym(module, "mfx_module");
  if (entry == nullptr) fail();
  return reinterpret_cast<const void* (*)()>(entry)();
}

}  // namespace libmfx::sim
