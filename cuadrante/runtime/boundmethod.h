// Bound methods for the callback registry: an object and one of its member
// functions taken as a single value, copied freely and compared by both parts.
// Two bound methods are equal when they name the same object and the same
// function; a default-made one is empty and calls nothing. The value holds no
// reference to the object beyond its address. Immutable, so safe from any
// thread; calling it runs the method on the calling thread.
//
// Example:
//   class TPlanView : public TObject {
//    public:
//     void evPlanChanged(TObject* sender, TCallbackType type, short key, int64_t value);
//   };
//   TCallbackMethod m = MakeCallback<&TPlanView::evPlanChanged>(view);
#pragma once

#include <cstdint>

#include "cuadrante/runtime/component.h"
#include "cuadrante/runtime/export.h"

// The kind of an event, one byte whose values belong to the hosts; the library
// only hands it on. Hosts name their values with constants of this type.
enum TCallbackType : uint8_t {};

class TCallbackMethod {
 public:
  // The function behind a bound method: it gets the object as `self`.
  using TFunction = void (*)(void* self, TObject* sender, TCallbackType type, short key,
                             int64_t value);

  // The empty method.
  constexpr TCallbackMethod() noexcept = default;
  // A plain function with its context; a null `function` gives the empty method.
  constexpr TCallbackMethod(void* object, TFunction function) noexcept
      : object_(function != nullptr ? object : nullptr), function_(function) {}

  constexpr bool IsEmpty() const noexcept { return function_ == nullptr; }
  constexpr void* Object() const noexcept { return object_; }
  constexpr TFunction Function() const noexcept { return function_; }

  // Runs the method; the empty method does nothing.
  void operator()(TObject* sender, TCallbackType type, short key, int64_t value) const {
    if (function_ != nullptr) function_(object_, sender, type, key, value);
  }

  friend constexpr bool operator==(const TCallbackMethod&,
                                   const TCallbackMethod&) noexcept = default;

 private:
  void* object_ = nullptr;
  TFunction function_ = nullptr;
};

namespace cuadrante::detail {
// The class that declares a member function.
template <class M>
struct MethodClass;
template <class C, class R, class... A>
struct MethodClass<R (C::*)(A...)> {
  using Type = C;
};
template <class C, class R, class... A>
struct MethodClass<R (C::*)(A...) const> {
  using Type = const C;
};

template <auto Method>
void InvokeMember(void* self, TObject* sender, TCallbackType type, short key, int64_t value) {
  using C = typename MethodClass<decltype(Method)>::Type;
  (static_cast<C*>(self)->*Method)(sender, type, key, value);
}
}  // namespace cuadrante::detail

// Binds `object` to its member function `Method`. The object is taken as the
// class that declares the method, so a derived pointer and a base pointer to
// one object bind equal. Each method gets a function of its own: the same
// method on the same object always compares equal, two methods never do. A
// null object gives the empty method.
template <auto Method, class T>
TCallbackMethod MakeCallback(T* object) noexcept {
  using C = typename cuadrante::detail::MethodClass<decltype(Method)>::Type;
  if (object == nullptr) return TCallbackMethod();
  C* self = object;
  return TCallbackMethod(const_cast<void*>(static_cast<const void*>(self)),
                         &cuadrante::detail::InvokeMember<Method>);
}
