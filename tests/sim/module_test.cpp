#include "sim/module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace libmfx::sim
