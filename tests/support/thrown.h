#pragma once

#include <exception>
#include <string>

namespace libmfx::test {

/// What `call` throws, as text; empty if it throws no such exception.
template <typename Exception = std::exception, typename Call>
std::string TextThrown(Call call) {
  try {
    call();
  } catch (const Exception& thrown) {
    return thrown.what();
  }
  return {};
}

}  // namespace libmfx::test
