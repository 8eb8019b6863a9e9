#pragma once

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "libmfx/features/feature.h"

namespace libmfx::test {

/// A setting and the live value that it has to have.
struct ExpectedSetting {
  std::wstring name;
  std::variant<double, int, bool, features::PointXYZW, features::VectorXYZW> value;
};

inline void ExpectSettings(const features::Feature& feature,
                           const std::vector<ExpectedSetting>& expected) {
  for (const ExpectedSetting& setting : expected) {
    SCOPED_TRACE(testing::PrintToString(setting.name));
    std::visit(
        [&](const auto& value) {
          using T = std::remove_cvref_t<decltype(value)>;
          EXPECT_EQ(feature.GetSetting<T>(setting.name), value);
        },
        setting.value);
  }
}

/// A row of a table of settings as it has to stand.
struct ExpectedRow {
  std::wstring name;
  std::wstring label;  ///< empty: not asked about
  int kind;
  int type;
};

inline void ExpectTable(const std::vector<win32_support::FeatureSetting>& rows,
                        const std::vector<ExpectedRow>& expected) {
  ASSERT_EQ(rows.size(), expected.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].name, expected[i].name);
    if (!expected[i].label.empty()) {
      EXPECT_EQ(rows[i].label, expected[i].label);
    }
    EXPECT_EQ(rows[i].kind, expected[i].kind) << i;
    EXPECT_EQ(rows[i].type, expected[i].type) << i;
  }
}

}  // namespace libmfx::test
