#pragma once

#include <type_traits>
#include <utility>

/// \file
/// The protected side of a class, for a test that looks at a stage which shows in no setting and in
/// no result. A class derived on the spot names the member, as any derived class may; what it gets
/// is a plain pointer to a member.

namespace libmfx::test {

/// A member function together with its object; converts its arguments as a call of it does.
template <typename Object, typename Result, typename Class, typename... Arguments>
auto Reach(Object& object, Result (Class::*function)(Arguments...)) {
  return [&object, function](Arguments... arguments) -> Result {
    return (object.*function)(std::forward<Arguments>(arguments)...);
  };
}

/// A field of an object.
template <typename Object, typename Class, typename Field>
requires std::is_object_v<Field>
decltype(auto) Reach(Object&& object, Field Class::*field) {
  return (std::forward<Object>(object).*field);
}

}  // namespace libmfx::test

/// A pointer to a protected member of a class.
#define PROTECTED_MEMBER(Class, member)                  \
  [] {                                                   \
    struct Derived : Class {                             \
      static auto Pointer() { return &Derived::member; } \
    };                                                   \
    return Derived::Pointer();                           \
  }()

/// A protected member of an object: its field, or its function to be called.
#define PROTECTED(object, member) \
  ::libmfx::test::Reach(object, PROTECTED_MEMBER(std::remove_cvref_t<decltype(object)>, member))
