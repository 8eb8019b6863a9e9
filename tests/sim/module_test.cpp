#include "sim/module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace libmfx::sim {
namespace {

using testing::HasSubstr;

TEST(Module, OneThatIsNotThereIsNamedWithTheReason) {
  try {
    LoadModule("moon");
    FAIL() << "there is none";
  } catch (const ModuleError& error) {
    EXPECT_THAT(error.what(), HasSubstr("the module libmfx-moon-"));
    EXPECT_THAT(error.what(), HasSubstr(".so cannot be loaded: "));
    EXPECT_THAT(error.what(), HasSubstr("No such file"));
  }
}

TEST(Module, OneThatIsThereIsLoadedOnce) {
  const void* const mesh = LoadModule("mesh");
  EXPECT_NE(mesh, nullptr);
  EXPECT_EQ(LoadModule("mesh"), mesh);
}

TEST(Module, WhatItThrowsComesOutAsWords) {
  EXPECT_EQ(WhatFails([] {}), "");
  EXPECT_EQ(WhatFails([] { throw std::runtime_error("the wheel is stuck"); }),
            "the wheel is stuck");
  EXPECT_EQ(WhatFails([] { throw std::bad_alloc(); }), "takes more memory than there is");
  EXPECT_EQ(WhatFails([] { throw std::runtime_error(""); }), "failed");
  EXPECT_EQ(WhatFails([] { throw 7; }), "failed");
}

}  // namespace
}  // namespace libmfx::sim
