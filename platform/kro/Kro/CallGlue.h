#pragma once

// How functions are called on objects of unknown type. Authors of types read Table.h alone.

#include <Kro/ObjectAddress.h>
#include <Kro/TypeOf.h>

#include <array>
#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Kro::Detail {

/// Takes a function apart; `isMember` ones are called on the object.
template <class F>
struct Signature;

template <class C, class R, class... A>
struct SignatureOf {
   static_assert(
      (!(std::is_lvalue_reference_v<A> && !std::is_const_v<std::remove_reference_t<A>>)&&...),
      "a parameter that could change its argument cannot be called by reflection");
   using Class = C;
   static constexpr bool isMember = !std::is_void_v<C>;
   static constexpr bool isConst = !isMember; ///< leaves the object as it is
   using Result = R;
   using Arguments = std::tuple<std::remove_cvref_t<A>...>;
   static constexpr std::array<TypeRef, sizeof...(A)> argumentTypes{typeRefOf<std::remove_cvref_t<A>>()...};
};

template <class C, class R, class... A>
struct Signature<R (C::*)(A...)> : SignatureOf<C, R, A...> {};

template <class C, class R, class... A>
struct Signature<R (C::*)(A...) const> : SignatureOf<C, R, A...> {
   static constexpr bool isConst = true;
};

template <class C, class R, class... A>
struct Signature<R (C::*)(A...) noexcept> : SignatureOf<C, R, A...> {};

template <class C, class R, class... A>
struct Signature<R (C::*)(A...) const noexcept> : SignatureOf<C, R, A...> {
   static constexpr bool isConst = true;
};

template <class R, class... A>
struct Signature<R (*)(A...)> : SignatureOf<void, R, A...> {};

template <class R, class... A>
struct Signature<R (*)(A...) noexcept> : SignatureOf<void, R, A...> {};

/// Picks an overload by exactly its parameters.
template <class... A>
struct Overloaded {
   template <class C, class R>
   consteval auto operator()(R (C::*f)(A...)) const
   {
      return f;
   }

   template <class C, class R>
   consteval auto operator()(R (C::*f)(A...) const) const
   {
      return f;
   }

   template <class R>
   consteval auto operator()(R (*f)(A...)) const
   {
      return f;
   }
};

template <class T, auto f, std::size_t... I>
decltype(auto) callWith(void* object, void* const* arguments, std::index_sequence<I...> /*positions*/)
{
   using Of = Signature<decltype(f)>;
   using Arguments = typename Of::Arguments;
   if constexpr (Of::isMember) {
      // Through T, not straight to the class that `f` was named by: an inherited member's class may lie elsewhere in T.
      auto& member = static_cast<typename Of::Class&>(objectOf<T>(object));
      return (member.*f)(std::as_const(objectOf<std::tuple_element_t<I, Arguments>>(arguments[I]))...);
   } else {
      return f(std::as_const(objectOf<std::tuple_element_t<I, Arguments>>(arguments[I]))...);
   }
}

/// Calls `f`, a member function on an object of type T.
template <class T, auto f>
void call(void* object, void* const* arguments, void* result)
{
   using Of = Signature<decltype(f)>;
   using Result = typename Of::Result;
   constexpr std::make_index_sequence<Of::argumentTypes.size()> positions;
   if constexpr (std::is_void_v<Result>) {
      callWith<T, f>(object, arguments, positions);
   } else {
      decltype(auto) value = callWith<T, f>(object, arguments, positions);
      if (result != nullptr) {
         *static_cast<std::remove_cvref_t<Result>*>(result) = std::forward<decltype(value)>(value);
      }
   }
}

template <class T, auto... f>
struct Overloads {
   static constexpr std::array<Overload, sizeof...(f)> list{Overload{
      Signature<decltype(f)>::argumentTypes, typeRefOf<typename Signature<decltype(f)>::Result>(), call<T, f>,
      Signature<decltype(f)>::isConst}...};
};

} // namespace Kro::Detail
