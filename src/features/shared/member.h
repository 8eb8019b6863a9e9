#pragma once

#include <functional>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "libmfx/features/feature.h"

/// \file
/// The members of feature classes as the tables name them.

namespace libmfx::features::shared {

/// The type tag of a setting of type T; -1 for what no setting can be.
template <typename T>
constexpr int TagOf() {
  if constexpr (std::is_same_v<T, double>) {
    return win32_support::SETTING_DOUBLE;
  } else if constexpr (std::is_same_v<T, bool>) {
    return win32_support::SETTING_BOOL;
  } else if constexpr (std::is_enum_v<T>) {
    return win32_support::SETTING_ENUM;
  } else if constexpr (std::is_same_v<T, int> || std::is_same_v<T, unsigned int>) {
    return win32_support::SETTING_INT;
  } else if constexpr (std::is_same_v<T, PointXYZW>) {
    return win32_support::SETTING_POINT_XYZ;
  } else if constexpr (std::is_same_v<T, AzElRange>) {
    return win32_support::SETTING_POINT_AER;
  } else if constexpr (std::is_same_v<T, VectorXYZW>) {
    return win32_support::SETTING_VECTOR_XYZ;
  } else {
    return -1;
  }
}

/// One member of a feature class, of any type that a table can hold: a row says with it what it
/// reads, checks or writes.
class Member {
 public:
  /// A member of T, as `&T::member`.
  template <typename T, typename V>
  Member(V T::*member)
      : _tag(TagOf<V>()),
        _place(Erased<T, V>([member](T& feature) -> V& { return feature.*member; })) {}
  /// A part of a member, as a function that leads from the feature to it.
  template <typename T, typename V>
  Member(V& (*part)(T&)) : _tag(TagOf<V>()), _place(Erased<T, V>(part)) {}

  /// Type tag of a setting in this member.
  int tag() const { return _tag; }
  /// The member of `feature`, which has to be of the class that the member belongs to.
  void* AddressIn(Feature& feature) const {
    return std::visit([&](const auto& place) -> void* { return std::addressof(place(feature)); },
                      _place);
  }
  /// Calls `use` with a reference to the member of `feature`.
  template <typename Use>
  decltype(auto) In(Feature& feature, Use use) const {
    return std::visit([&](const auto& place) { return use(place(feature)); }, _place);
  }
  /// The member of a feature that nobody changes, by its type.
  template <typename V>
  const V& As(const Feature& feature) const {
    return std::get<Place<V>>(_place)(const_cast<Feature&>(feature));
  }

 private:
  template <typename V>
  using Place = std::function<V&(Feature&)>;
  using AnyPlace =
      std::variant<Place<double>, Place<int>, Place<unsigned int>, Place<bool>, Place<std::string>,
                   Place<PointXYZW>, Place<VectorXYZW>, Place<AzElRange>, Place<PointCloud>>;

  template <typename T, typename V, typename Access>
  static AnyPlace Erased(Access access) {
    if constexpr (std::is_enum_v<V>) {
      static_assert(sizeof(V) == sizeof(int));
      return Place<int>([access](Feature& feature) -> int& {
        return reinterpret_cast<int&>(access(static_cast<T&>(feature)));
      });
    } else {
      return Place<V>(
          [access](Feature& feature) -> V& { return access(static_cast<T&>(feature)); });
    }
  }

  int _tag;
  AnyPlace _place;
};

}  // namespace libmfx::features::shared
