#pragma once

#include <Kro/TableGlue.h>

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <string>
#include <utility>

namespace Kro {

/// The attributes of T, written down once and checked while compiling:
///
///     struct Chunk::Declaration {   // nested, so that it may name private members
///        static constexpr auto table = Kro::table<Chunk>(
///           Kro::value<2, &Chunk::name_>("name"),
///           Kro::value<3, &Chunk::size_>("size", Kro::readOnly));
///     };
///     constinit Kro::KroType const Chunk::kroType = Kro::valueType<Chunk, Chunk::Declaration>("Chunk", &module);
///
/// Numbers out of order, a name used twice and a reactor without its collection do not compile. A `Ptr<T const>` has no
/// slot type; a raw `T const*` counts as a `T*`.

/// A value held in a data member, or read by a getter (then read-only) when `member` is a function. In a value type a
/// getter that is not const must be `notCompared`.
template <std::int16_t N, auto member>
consteval auto value(std::string_view name, int flags = none)
{
   return Detail::ValueEntry<N, member>{{}, name, static_cast<std::uint8_t>(flags)};
}

/// The mutators of a collection: what creates or replaces, removes by key, empties. Each may have overloads.
template <auto... f>
using is = Detail::Mutators<Detail::Role::is, f...>;
template <auto... f>
using del = Detail::Mutators<Detail::Role::del, f...>;
template <auto... f>
using delAll = Detail::Mutators<Detail::Role::delAll, f...>;

/// A collection held in a data member, with the owner's own mutators: reflection takes the same road as a caller.
///
///     Kro::collection<2, &Group::chunk_, Kro::is<&Group::chunkIs>, Kro::del<&Group::chunkDel>,
///                     Kro::delAll<&Group::chunkDelAll>>("chunk")
template <std::int16_t N, auto member, class... Mutator>
consteval auto collection(std::string_view name, int flags = none)
{
   return Detail::CollectionEntry<N, member, Mutator...>{{}, name, static_cast<std::uint8_t>(flags)};
}

/// A collection whose entries live in device memory: no storage, only the entry's own table behind it.
template <std::int16_t N, class Entry>
consteval auto entries(std::string_view name)
{
   return Detail::EntriesEntry<N, Entry>{{}, name, readOnly};
}

/// A field of such an entry: its bytes lie in device memory, `member` gives their number.
template <std::int16_t N, auto member>
consteval auto field(std::string_view name)
{
   return Detail::FieldEntry<N, member>{{}, name, readOnly | notCompared};
}

/// Member functions under one number; overloads are picked by the types of the arguments.
template <std::int16_t N, auto... f>
consteval auto operation(std::string_view name)
{
   return Detail::CallEntry<N, Kind::operation, f...>{{}, name, readOnly};
}

/// Read-only values that are worked out when they are asked for; the one without arguments can be read like a value.
template <std::int16_t N, auto... f>
consteval auto computed(std::string_view name)
{
   return Detail::CallEntry<N, Kind::computed, f...>{{}, name, readOnly};
}

/// Static member functions (or free ones).
template <std::int16_t N, auto... f>
consteval auto statics(std::string_view name)
{
   return Detail::CallEntry<N, Kind::statics, f...>{{}, name, readOnly};
}

/// `handleX`, which belongs to the collection `x` of the same table.
template <std::int16_t N, auto f>
consteval auto reactor(std::string_view name)
{
   return Detail::CallEntry<N, Kind::reactor, f>{{}, name, readOnly};
}

/// Picks one of several member functions of a name by its parameters: `Kro::overload<int>(&Group::chunkInternalDel)`.
template <class... A>
inline constexpr Detail::Overloaded<A...> overload{};

/// The checked attributes of T. Made by `table`.
template <class T, class Base, class... Entry>
struct Table {
   static_assert(sizeof...(Entry) != 0, "a table has at least one attribute");
   static_assert(std::is_void_v<Base> || std::derived_from<T, Base>, "attributes are inherited from a base class");

   static constexpr std::size_t count = sizeof...(Entry);
   static constexpr std::int16_t first = std::min({Entry::number...});
   static constexpr std::size_t span = static_cast<std::size_t>(std::max({Entry::number...}) - first) + 1;
   /// Numbers far apart are searched instead of being looked up.
   static constexpr bool isDense = span <= 256 && count < 0xff;

   std::array<KroAttr, count> attrs;
   std::array<std::uint8_t, isDense ? span : 0> byNumber{};

   consteval explicit Table(Entry const&... entry) : attrs{entry.template attr<T>()...}
   {
      byNumber.fill(0xff);
      for (std::size_t i = 0; i < count; ++i) {
         if (i != 0 && attrs[i].number <= attrs[i - 1].number) {
            throw "attribute numbers must ascend";
         }
         for (std::size_t k = 0; k < i; ++k) {
            if (attrs[k].name == attrs[i].name) {
               throw "attribute name used twice";
            }
         }
         if (attrs[i].kind == Kind::reactor && !watchesCollection(attrs[i].name)) {
            throw "a reactor is named handle and the name of a collection of its table";
         }
         if constexpr (isDense) {
            byNumber[static_cast<std::size_t>(attrs[i].number - first)] = static_cast<std::uint8_t>(i);
         }
      }
   }

private:
   constexpr bool watchesCollection(std::string_view reactor) const
   {
      return std::any_of(attrs.begin(), attrs.end(), [&](KroAttr const& attr) {
         return attr.kind == Kind::collection && reactor.size() == attr.name.size() + 6 &&
                reactor.substr(0, 6) == "handle" && reactor[6] == attr.name[0] - 'a' + 'A' &&
                reactor.substr(7) == attr.name.substr(1);
      });
   }
};

/// The table of T; `Base` is the registered type whose attributes T, an entity type, inherits.
template <class T, class Base = void, class... Entry>
consteval auto table(Entry const&... entry)
{
   return Table<T, Base, Entry...>(entry...);
}

namespace Detail {

/// What is generated from the table of a Declaration.
template <class T, class Declaration, class TableType>
struct Glue;

template <class T, class Declaration, class Base, class... Entry>
struct Glue<T, Declaration, Table<T, Base, Entry...>> {
   using BaseType = Base;
   static constexpr auto const& table = Declaration::table;

   static KroAttr const* byName(std::string_view name) noexcept
   {
      KroAttr const* found = nullptr;
      [&]<std::size_t... I>(std::index_sequence<I...>)
      {
         static_cast<void>(((isNamed<I>(name) && (found = &table.attrs[I], true)) || ...));
      }
      (std::index_sequence_for<Entry...>());
      return found;
   }

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
      (std::index_sequence_for<Entry...>());
   }

   static bool equalErased(void const* a, void const* b)
   {
      return equal(*static_cast<T const*>(a), *static_cast<T const*>(b));
   }

   static void assignErased(void* to, void const* from) { *static_cast<T*>(to) = *static_cast<T const*>(from); }

   static std::uint64_t hashErased(void const* value) { return static_cast<T const*>(value)->hash(); }

   static Orvo::Ptr<Entity> make(Orvo::String const& name) { return Orvo::make<T>(name); }

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
      data.attrs = table.attrs;
      data.byNumber = table.byNumber;
      data.firstNumber = table.first;
      data.byName = byName;
      return data;
   }

private:
   /// Length and characters are constants: a few compares, no call.
   template <std::size_t I>
   static bool isNamed(std::string_view name) noexcept
   {
      constexpr std::string_view own = table.attrs[I].name;
      return name.size() == own.size() && std::char_traits<char>::compare(name.data(), own.data(), own.size()) == 0;
   }

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
};

template <class T, class Declaration>
using GlueOf = Glue<T, Declaration, std::remove_cvref_t<decltype(Declaration::table)>>;

} // namespace Detail

/// Equality of two values by their table: same object, else values, else collections, each in table order.
template <class T, class Declaration>
bool equal(T const& a, T const& b)
{
   return Detail::GlueOf<T, Declaration>::equal(a, b);
}

/// The record of a value type: copied, compared and printed by its table; hashable when T has `hash()`.
template <class T, class Declaration>
consteval KroType valueType(std::string_view name, KroModule const* module)
{
   using Glue = Detail::GlueOf<T, Declaration>;
   static_assert(std::is_void_v<typename Glue::BaseType>, "a value type inherits no attributes");
   auto data = Glue::record(name, module, TypeKind::value);
   data.ops.equal = Glue::equalErased;
   data.ops.assign = Glue::assignErased;
   if constexpr (requires(T const& value) { value.hash(); }) {
      data.ops.hash = Glue::hashErased;
   }
   return KroType(data);
}

/// The record of a value type that has no attributes, a function pointer for instance. Where T cannot carry its record,
/// `TypeRecord<T>` names it.
template <class T>
consteval KroType plainType(std::string_view name, KroModule const* module)
{
   TypeData data;
   data.name = name;
   data.module = module;
   data.kind = TypeKind::value;
   data.size = sizeof(T);
   data.ops.equal = [](void const* a, void const* b) { return *static_cast<T const*>(a) == *static_cast<T const*>(b); };
   data.ops.assign = [](void* to, void const* from) { *static_cast<T*>(to) = *static_cast<T const*>(from); };
   return KroType(data);
}

/// The record of an entry of a device's collection: fields with sizes, no object in this process.
template <class T, class Declaration>
consteval KroType entryType(std::string_view name, KroModule const* module)
{
   return KroType(Detail::GlueOf<T, Declaration>::record(name, module, TypeKind::value));
}

/// The record of an entity type. One that is a Kro::Entity and constructible from a name can be created in a directory.
template <class T, class Declaration>
consteval KroType entityType(std::string_view name, KroModule const* module)
{
   using Glue = Detail::GlueOf<T, Declaration>;
   static_assert(std::derived_from<T, Orvo::Node>, "an entity type is a reference-counted node");
   auto data = Glue::record(name, module, TypeKind::entity);
   if constexpr (std::is_constructible_v<T, Orvo::String const&> && std::derived_from<T, Entity>) {
      data.make = Glue::make;
   }
   return KroType(data);
}

} // namespace Kro
