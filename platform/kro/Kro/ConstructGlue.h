#pragma once

// How objects of unknown type are made, copied and ended. Authors of types read Table.h alone.

#include <Kro/CallGlue.h>
#include <Kro/Exception.h>

#include <Orvo/Node.h>
#include <Orvo/Ptr.h>

#include <array>
#include <concepts>
#include <cstddef>
#include <memory>
#include <new>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Kro::Detail {

/// Whether entities of type T can be made from a name alone.
template <class T>
inline constexpr bool isNamed = [] {
   if constexpr (std::derived_from<T, Orvo::Node>) {
      return std::derived_from<T, Entity> && std::is_constructible_v<T, Orvo::String const&>;
   } else {
      return false;
   }
}();

template <class T>
consteval TypeRef madeTypeOf()
{
   return {typeOf<T>(), std::derived_from<T, Orvo::Node> ? Form::ptr : Form::plain};
}

/// Makes an entity that knows its type.
/// @throws NewEntityArgsException when it answers another type than T: T, or a class between T and its base, forgot `typeData()`
template <class T, class... Argument>
Orvo::Ptr<T> made(Argument const&... argument)
{
   auto entity = Orvo::make<T>(argument...);
   if (&entity->typeData() != typeOf<T>()) [[unlikely]] {
      throwNewEntityArgsException(
         typeOf<T>()->name, Orvo::join("its typeData() answers '", entity->typeData().name, "'"));
   }
   return entity;
}

template <class... Argument>
struct Constructor {
   static constexpr std::array<TypeRef, sizeof...(Argument)> argumentTypes{typeRefOf<Argument>()...};

   template <class T>
   static void construct(void* /*object*/, void* const* arguments, void* result)
   {
      static_assert(std::is_constructible_v<T, Argument const&...>, "the type has no such constructor");
      make<T>(arguments, result, std::index_sequence_for<Argument...>());
   }

   template <class T>
   static consteval Overload overload()
   {
      return {argumentTypes, madeTypeOf<T>(), construct<T>};
   }

private:
   template <class T, std::size_t... I>
   static void make([[maybe_unused]] void* const* arguments, void* result, std::index_sequence<I...> /*positions*/)
   {
      if constexpr (std::derived_from<T, Orvo::Node>) {
         *static_cast<Orvo::Ptr<T>*>(result) = made<T>(std::as_const(objectOf<Argument>(arguments[I]))...);
      } else {
         new (result) T(std::as_const(objectOf<Argument>(arguments[I]))...);
      }
   }
};

template <auto f>
struct ConstructorFunction {
   template <class T>
   static consteval Overload overload()
   {
      static_assert(std::is_same_v<typename Signature<decltype(f)>::Result, Orvo::Ptr<T>>, "it makes another type");
      return {Signature<decltype(f)>::argumentTypes, madeTypeOf<T>(), call<T, f>};
   }
};

/// From a tuple of the argument types, each in a std::type_identity.
template <class Marked>
struct ConstructorOfTuple;

template <class... Argument>
struct ConstructorOfTuple<std::tuple<std::type_identity<Argument>...>> {
   using Type = Constructor<Argument...>;
};

template <class Marked>
using ConstructorFrom = typename ConstructorOfTuple<Marked>::Type;

template <class T, class... Constructor>
inline constexpr std::array<Overload, sizeof...(Constructor)> constructorList{Constructor::template overload<T>()...};

/// What every value can do without its table.
template <class T>
consteval ValueOps valueOps()
{
   ValueOps ops{};
   if constexpr (std::is_copy_assignable_v<T>) {
      ops.assign = [](void* to, void const* from) { *static_cast<T*>(to) = *static_cast<T const*>(from); };
   }
   if constexpr (requires(T const& value) { value.hash(); }) {
      ops.hash = [](void const* value) -> std::uint64_t { return static_cast<T const*>(value)->hash(); };
   }
   if constexpr (std::is_default_constructible_v<T>) {
      ops.init = [](void* to) { new (to) T(); };
   }
   if constexpr (std::is_copy_constructible_v<T>) {
      ops.copy = [](void* to, void const* from) { new (to) T(*static_cast<T const*>(from)); };
   }
   ops.destroy = [](void* value) { std::destroy_at(static_cast<T*>(value)); };
   return ops;
}

template <class T>
inline constexpr PointerOps pointerOps{
   [](void* entity) -> Orvo::Node* { return static_cast<T*>(entity); },
   [](Orvo::Node* node) -> void* { return static_cast<T*>(node); }};

} // namespace Kro::Detail
