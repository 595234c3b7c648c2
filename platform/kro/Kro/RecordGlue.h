#pragma once

// How a record is made from a checked table. Authors of types read Table.h alone.

#include <Kro/ConstructGlue.h>
#include <Kro/DesAttr.h>

#include <Orvo/Ptr.h>

#include <concepts>
#include <cstddef>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Kro {

template <class T, class Base, class... Entry>
struct Table;

namespace Detail {

/// Reads an attribute: code for each type of value, not for each attribute.
template <bool isFirst, bool isLast, class Value>
[[gnu::noinline]] void readValue(CharRange& text, std::string_view typeName, std::string_view name, Value& value)
{
   static_cast<void>(typeName);
   if constexpr (isFirst && isLast) {
      desAttrOnly(text, typeName, name, value);
   } else if constexpr (isFirst) {
      desAttrPre(text, typeName, name, value);
   } else if constexpr (isLast) {
      desAttrPost(text, name, value);
   } else {
      desAttrIntra(text, name, value);
   }
}

/// What is generated from the table of a Declaration.
template <class T, class Declaration, class TableType>
struct Glue;

template <class T, class Declaration, class Base, class... Entry>
struct Glue<T, Declaration, Table<T, Base, Entry...>> {
   using BaseType = Base;
   static constexpr auto const& table = Declaration::table;

   /// Values first, then collections, each in table order.
   static bool equal(T const& a, T const& b)
   {
      if (&a == &b) {
         return true;
      }
      return [&]<std::size_t... I>(std::index_sequence<I...>)
      {
         return (same<Kind::value, Entry, I>(a, b) && ...) && (same<Kind::collection, Entry, I>(a, b) && ...);
      }
      (positions);
   }

   static bool equalErased(void const* a, void const* b)
   {
      return equal(*static_cast<T const*>(a), *static_cast<T const*>(b));
   }

   static void read(CharRange& text, T& value)
   {
      static_cast<void>(value);
      if constexpr (((Entry::kind == Kind::collection) || ...)) {
         assertNoTextConstructor(typeOf<T>()->name);
      } else if constexpr (valueCount == 0) {
         text.endIs();
      } else {
         [&]<std::size_t... I>(std::index_sequence<I...>)
         {
            (readOne<Entry, I>(text, value), ...);
         }
         (positions);
      }
   }

   /// What `ValueOps::read` of the type is.
   static consteval auto reader() -> char const* (*)(void*, CharRange&)
   {
      if constexpr (std::is_constructible_v<T, CharRange&>) {
         return [](void* to, CharRange& text) -> char const* {
            T value(text);
            text.endIs();
            new (to) T(std::move(value));
            return nullptr;
         };
      } else if constexpr (((Entry::kind == Kind::collection) || ...)) {
         return [](void*, CharRange&) -> char const* { assertNoTextConstructor(typeOf<T>()->name); };
      } else if constexpr (std::is_default_constructible_v<T> && (isReadable<Entry> && ...)) {
         return [](void* to, CharRange& text) -> char const* {
            T value{};
            read(text, value);
            new (to) T(std::move(value));
            return nullptr;
         };
      } else {
         return nullptr;
      }
   }

   template <class... Constructor>
   static consteval std::span<Overload const> constructors()
   {
      using Marked = decltype(markedArguments(positions));
      if constexpr (sizeof...(Constructor) != 0) {
         return constructorList<T, Constructor...>;
      } else if constexpr (std::tuple_size_v<Marked> != 0 && !std::is_abstract_v<T>) {
         return constructorList<T, ConstructorFrom<Marked>>;
      } else if constexpr (isNamed<T>) {
         return constructorList<T, Kro::Detail::Constructor<Orvo::String>>;
      } else if constexpr (std::is_default_constructible_v<T>) {
         return constructorList<T, Kro::Detail::Constructor<>>;
      } else {
         return {};
      }
   }

   static constexpr TypeData record(std::string_view name, KroModule const* module, TypeKind kind)
   {
      TypeData data;
      data.name = name;
      data.module = module;
      if constexpr (!std::is_void_v<Base>) {
         data.base = typeOf<Base>();
      }
      data.kind = kind;
      data.size = sizeof(T);
      data.alignment = alignof(T);
      data.attrs = table.attrs;
      data.byNumber = table.byNumber;
      data.firstNumber = table.first;
      auto const& names = table.names;
      data.names = {table.attrs.data(), names.slots.data(), names.seed, names.slotCount - 1, names.isPerfect};
      return data;
   }

private:
   static constexpr std::index_sequence_for<Entry...> positions{};
   static constexpr std::size_t valueCount = (static_cast<std::size_t>(Entry::kind == Kind::value) + ... + 0);

   template <class One>
   static constexpr bool isReadable = [] {
      if constexpr (One::kind == Kind::value) {
         return One::isReadable;
      } else {
         return true;
      }
   }();

   /// Attributes of another kind, and those not compared, need no `==`.
   template <Kind kind, class One, std::size_t I>
   static bool same(T const& a, T const& b)
   {
      if constexpr (One::kind != kind || (table.attrs[I].flags & notCompared) != 0) {
         return true;
      } else {
         return One::same(a, b);
      }
   }

   /// How many values the table has before position I.
   template <std::size_t I>
   static constexpr std::size_t valuesBefore = [] {
      std::size_t before = 0;
      for (std::size_t i = 0; i < I; ++i) {
         before += table.attrs[i].kind == Kind::value ? 1U : 0U;
      }
      return before;
   }();

   template <class One, std::size_t I>
   static void readOne(CharRange& text, T& value)
   {
      if constexpr (One::kind == Kind::value) {
         static_assert(One::isReadable, "a text cannot be read into this attribute");
         readValue<valuesBefore<I> == 0, valuesBefore<I> == valueCount - 1>(
            text, typeOf<T>()->name, table.attrs[I].name, value.*One::data);
      }
   }

   /// The types of the attributes that the constructor takes.
   template <std::size_t... I>
   static auto markedArguments(std::index_sequence<I...> /*positions*/)
   {
      return std::tuple_cat(markedArgument<Entry, I>()...);
   }

   template <class One, std::size_t I>
   static auto markedArgument()
   {
      if constexpr ((table.attrs[I].flags & ctorArg) != 0) {
         static_assert(One::kind == Kind::value, "an argument of the constructor is a value");
         return std::tuple<std::type_identity<typename One::Value>>();
      } else {
         return std::tuple<>();
      }
   }
};

template <class T, class Declaration>
using GlueOf = Glue<T, Declaration, std::remove_cvref_t<decltype(Declaration::table)>>;

} // namespace Detail
} // namespace Kro
